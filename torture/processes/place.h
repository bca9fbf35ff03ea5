// The /dev/shm of a torture program's own, and what is in it.
#pragma once

#include <cstdint>
#include <string>

#include "tests/support/private_shm.h"

namespace ztk::torture {

using test::EnterPrivateShm;
using test::ShmEntries;

/// A process id in a name that no Linux gives out: its owner is always dead.
constexpr char kNobody[] = "4999999";

/// An object as a process that is dead now has left it.
void PlantObject(const std::string& name);

/// Bytes that objects in /dev/shm can still take.
std::uint64_t FreeShmBytes();

/// Removes everything from /dev/shm.
void EmptyShm();

}  // namespace ztk::torture
