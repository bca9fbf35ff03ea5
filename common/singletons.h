// The three objects that live as long as the library is loaded.
#pragma once

#include "common/pool_settings.h"
#include "pool/local_memory_pool.h"
#include "pool/shared_memory_pool.h"

namespace ztk {

SharedMemoryPool* GetSharedMemoryPool();
LocalMemoryPool* GetLocalMemoryPool();
PoolSettings* GetPoolSettings();

}  // namespace ztk
