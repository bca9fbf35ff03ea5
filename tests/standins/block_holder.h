/// A library that depends on librockit and frees its block when it is unloaded or the process exits.
#pragma once

#include "external/rockit.h"

__attribute__((visibility("default"))) void HoldBlock(MB_BLK hBlock);
