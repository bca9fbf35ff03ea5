// What another process of the same user can do to a segment that its owner is using.
#pragma once

#include <array>
#include <cstdint>
#include <random>
#include <string>

namespace ztk::torture {

struct Attack {
    const char* szName;
    void (*pOn)(const std::string& name, std::mt19937_64& random);
    bool bMayKill;  ///< the owner may die of SIGBUS: pages that it uses are gone
};

extern const std::array<Attack, 9> kAttacks;

}  // namespace ztk::torture
