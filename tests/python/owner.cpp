// A process with shared blocks, for tests in other languages: does what the lines of its standard input say,
// answers each with one line, and ends, giving everything back, when there are no more.
//   block N         a new block with N bytes of data, in the pattern of a test's objects; answers with its
//   name load FILE       a new block with the file's bytes as data; answers with its name write I AT BY block
//   I (they count from 0), byte AT (from the header's first) becomes BY; answers "ok" free I          back
//   into the pool; answers "ok"
#include <cstddef>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/ztk_common.h"

namespace {

std::vector<unsigned char*> g_blocks;

std::string NewBlock(const std::string& bytes) {
    void* pBlock = nullptr;
    char szName[ZTK_SHARED_NAME_SIZE] = {};
    if (AllocatePoolSharedMemory(ZTK_SHARED_HEADER_SIZE + bytes.size(), &pBlock, szName) != ZTK_SUCCESS)
        throw std::runtime_error("no block");
    g_blocks.push_back(static_cast<unsigned char*>(pBlock));
    std::memcpy(g_blocks.back() + ZTK_SHARED_HEADER_SIZE, bytes.data(), bytes.size());
    return szName;
}

std::string Pattern(std::size_t nSize) {
    std::string bytes(nSize, '\0');
    for (std::size_t i = 0; i < nSize; ++i)
        bytes[i] = static_cast<char>((i * 7 + 3) & 0xFFU);
    return bytes;
}

std::string ContentOf(const std::string& szFile) {
    std::ifstream file(szFile, std::ios::binary);
    if (!file) throw std::runtime_error("cannot open " + szFile);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string Answer(std::istringstream& line) {
    std::string command;
    std::string szFile;
    std::size_t nFirst = 0;
    std::size_t nAt = 0;
    unsigned nByte = 0;
    line >> command;
    if (command == "block" && line >> nFirst) return NewBlock(Pattern(nFirst));
    if (command == "load" && line >> szFile) return NewBlock(ContentOf(szFile));
    if (command == "write" && line >> nFirst >> nAt >> nByte) {
        g_blocks.at(nFirst)[nAt] = static_cast<unsigned char>(nByte);
        return "ok";
    }
    if (command == "free" && line >> nFirst && FreePoolSharedMemory(g_blocks.at(nFirst)) == ZTK_SUCCESS)
        return "ok";
    throw std::runtime_error("cannot " + line.str());
}

}  // namespace

int main() {
    try {
        for (std::string line; std::getline(std::cin, line);) {
            std::istringstream words(line);
            std::cout << Answer(words) << std::endl;
        }
    } catch (const std::exception& error) {
        std::cerr << "owner: " << error.what() << '\n';
        return 1;
    }
    return 0;
}
