// A C++ host: it has the C++ runtime and instances of its own of the templates that the library uses, too.
#include <cstdio>
#include <exception>
#include <fstream>
#include <map>
#include <random>
#include <stdexcept>
#include <string>

#include "tests/library/host_checks.h"

namespace {

/// Uses what the library uses inside, so that the linker has symbols of both to mix up.
bool CxxRuntimeWorks() {
    std::random_device device("default");
    std::mt19937 generator(device());
    std::map<std::string, unsigned long> numbers;
    numbers["drawn"] = generator();
    std::ifstream status("/proc/self/status");
    std::string line;
    try {
        if (std::getline(status, line)) throw std::runtime_error(line);
    } catch (const std::exception& error) {
        return std::string(error.what()) == line && numbers.count("drawn") == 1;
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (!CxxRuntimeWorks()) {
        std::fputs("the C++ runtime does not work in this host\n", stderr);
        return 1;
    }
    const int nExitCode = RunHost(argc, argv);
    return CxxRuntimeWorks() ? nExitCode : 1;
}
