// What opening a name comes to, whichever way it is opened.
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <iterator>

#include "common/ztk_shared_view.h"
#include "tests/shared_view/shared_object.h"

namespace ztk_test {

inline std::ptrdiff_t OpenDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

inline bool IsClosed(const ZtkSharedView& view) {
    return view.pData == nullptr && view.nDataLen == 0 && view.pMapping == nullptr && view.nMappingLen == 0;
}

/// Both ways of opening must come to the same result and keep no descriptor; what was refused must be closed.
inline ZtkViewStatus StatusOf(const char* szName) {
    const std::ptrdiff_t nBefore = OpenDescriptors();
    ZtkSharedView view;
    std::memset(&view, 0xee, sizeof(view));
    const ZtkViewStatus enWritable = ZtkOpenSharedViewWritable(szName, &view);
    EXPECT_TRUE(enWritable == ZTK_VIEW_OK || IsClosed(view));
    ZtkCloseSharedView(&view);
    std::memset(&view, 0xee, sizeof(view));
    errno = 0;
    const ZtkViewStatus enStatus = ZtkOpenSharedView(szName, &view);
    const int nError = errno;
    EXPECT_TRUE(enStatus == ZTK_VIEW_OK || IsClosed(view));
    ZtkCloseSharedView(&view);
    EXPECT_EQ(enWritable, enStatus);
    EXPECT_EQ(OpenDescriptors(), nBefore);
    errno = nError;
    return enStatus;
}

inline ZtkViewStatus StatusOf(const SharedObject& object) {
    return StatusOf(object.Name().c_str());
}

}  // namespace ztk_test
