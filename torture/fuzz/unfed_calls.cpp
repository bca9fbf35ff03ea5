#include "torture/fuzz/unfed_calls.h"

#include "torture/processes/real_functions.h"

namespace ztk::torture {
namespace {

UnfedCalls g_calls{};

[[gnu::constructor(kBeforeAllOthers)]] void FindRealFunctions() {
    FindReal("opendir", g_calls.opendir);
    FindReal("readdir", g_calls.readdir);
    FindReal("closedir", g_calls.closedir);
    FindReal("lstat", g_calls.lstat);
    FindReal("kill", g_calls.kill);
    FindReal("shm_open", g_calls.shm_open);
    FindReal("shm_unlink", g_calls.shm_unlink);
    FindReal("close", g_calls.close);
    FindReal("getpid", g_calls.getpid);
}

}  // namespace

const UnfedCalls& Unfed() {
    return g_calls;
}

}  // namespace ztk::torture
