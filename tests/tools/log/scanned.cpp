#include "scanned.h"

#include <fstream>
#include <sstream>
#include <stdexcept>

namespace ztkmem::log::test {

std::string ReadData(const std::string& name) {
    std::ifstream stream(std::string(ZTKMEM_LOG_TESTS) + '/' + name, std::ios::binary);
    if (!stream) throw std::runtime_error("no " + name);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

}  // namespace ztkmem::log::test
