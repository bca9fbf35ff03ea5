// What the tests of the built program share.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>

#include "tools/made_up_objects.h"
#include "tools/program.h"

namespace ztkmem::test {

constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kDay = 24 * kHour;

/// Starts with an empty /dev/shm, and has a folder for files that is removed in the end.
class ProgramTest : public testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    std::string Folder() const { return folder_.string(); }

  private:
    std::filesystem::path folder_;
};

/// @p text without what differs from machine to machine: which processes may be looked into.
std::string WithoutUnread(const std::string& text);

/// Whether As::kGuest is another user.
bool GuestExists();

/// The file golden/<name>.
std::string Golden(const std::string& name);

/// `ztkmem ls --json` by someone who vouches for the namespace: tests may run in a container.
nlohmann::json Listed(As enAs = As::kSelf);

/// The entry of @p document that bears @p name; null if there is none.
nlohmann::json SegmentNamed(const nlohmann::json& document, const std::string& name);

}  // namespace ztkmem::test
