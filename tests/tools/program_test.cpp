#include "tools/program_test.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <regex>

namespace ztkmem::test {

namespace fs = std::filesystem;

void ProgramTest::SetUp() {
    for (const auto& entry : fs::directory_iterator("/dev/shm"))
        fs::remove_all(entry.path());
    std::string pattern = fs::temp_directory_path() / "ztkmem-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder_ = pattern;
}

void ProgramTest::TearDown() {
    fs::remove_all(folder_);
}

std::string WithoutUnread(const std::string& text) {
    static const std::regex line("[0-9]+ process(es)? may not be looked into: [^\n]*\n");
    static const std::regex part("; [0-9]+ process(es)? may not be looked into");
    static const std::regex limit("frees up to ");
    return std::regex_replace(std::regex_replace(std::regex_replace(text, line, ""), part, ""), limit,
                              "frees ");
}

bool GuestExists() {
    return RunProgram({"id", "-u"}, As::kGuest).out == "65534\n";
}

std::string Golden(const std::string& name) {
    std::ifstream file(std::string(ZTKMEM_GOLDEN) + "/" + name);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

nlohmann::json Listed(As enAs) {
    return nlohmann::json::parse(ZtkMem({"ls", "--json", "--this-pid-namespace"}, enAs).out);
}

nlohmann::json SegmentNamed(const nlohmann::json& document, const std::string& name) {
    for (const auto& segment : document["segments"]) {
        if (segment["name"] == name) return segment;
    }
    return {};
}

}  // namespace ztkmem::test
