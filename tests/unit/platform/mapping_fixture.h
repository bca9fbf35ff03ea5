// What the tests of the named mappings share: plenty of memory, and a look at the objects from outside.
#pragma once

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <string>

#include "platform/mapping.h"
#include "support/available_memory.h"
#include "support/descriptors.h"
#include "support/log_lines.h"
#include "support/private_shm.h"
#include "support/system_calls.h"

namespace ztk::test {

constexpr char kName[] = "ZTKTool-77-00ff";
constexpr std::uint32_t kStale = 0xDEAD;        ///< in error arguments before a call
constexpr char kErrNoMemory[] = "-2146435063";  ///< 0x80100009 by %d

class MappingTest : public testing::Test {
  protected:
    ~MappingTest() override {
        for (const int hFile : OpenDescriptors()) {
            if (before_.count(hFile) == 0) close(hFile);
        }
        for (const std::string& name : ShmEntries())
            shm_unlink(name.c_str());
    }

    static std::string ObjectText(const std::string& name = kName) {
        std::ifstream file("/dev/shm/" + name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    static void WriteObject(const std::string& text, const std::string& name = kName) {
        std::ofstream("/dev/shm/" + name, std::ios::binary) << text;
    }

    static std::string PointerText(const void* pAddr) {
        std::array<char, 32> text{};
        static_cast<void>(std::snprintf(text.data(), text.size(), "%p", pAddr));
        return text.data();
    }

    static std::string HandleText(std::int32_t hOsMapping) {
        return PointerText(reinterpret_cast<void*>(std::uintptr_t{static_cast<std::uint32_t>(hOsMapping)}));
    }

    /// The header that an object of the name and length has.
    static std::string HeaderText(const std::string& name, std::uint64_t nMappingLen) {
        std::string text(128, '\0');
        const std::uint64_t nDataLen = nMappingLen - 128;
        std::memcpy(text.data(), &nDataLen, sizeof(nDataLen));
        const std::uint16_t nHeaderLen = 128;
        std::memcpy(text.data() + 14, &nHeaderLen, sizeof(nHeaderLen));
        std::memcpy(text.data() + 16, name.data(), name.size());
        return text;
    }

    std::size_t NewDescriptors() const { return OpenDescriptors().size() - before_.size(); }

    AvailableMemory plenty_{std::uint64_t{8} << 30U};
    std::set<int> before_ = OpenDescriptors();
    std::uint32_t nErr_ = kStale;
};

}  // namespace ztk::test
