// Tells whether some thread of this process is inside a pool, with the pool's lock held: making or destroying
// a segment is such a time.
#pragma once

namespace ztk::torture {

/// Threads that are creating or removing an object just now.
int ThreadsInside();

}  // namespace ztk::torture
