// What is done with the library while its calls are made to fail: every export and every stage of its life.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "torture/faults/world.h"

namespace ztk::torture {

struct Scenario {
    std::string name;
    std::function<void(World&)> prepare;  ///< nothing fails here
    std::function<void(World&)> body;     ///< armed
};

const std::vector<Scenario>& AllScenarios();

}  // namespace ztk::torture
