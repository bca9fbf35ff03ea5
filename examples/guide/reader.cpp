// Two processes, the reader: opens a block by name. It links nothing of the library.
// Run by the owner as: reader NAME
#include <cstdio>

#include "ztk_shared_view.h"

int main(int nArguments, char** ppArguments) {
    if (nArguments != 2) return 2;
    ZtkSharedView view;
    ZtkViewStatus enStatus = ZtkOpenSharedView(ppArguments[1], &view);
    if (enStatus != ZTK_VIEW_OK) {
        std::printf("reader: %s\n", ZtkViewStatusText(enStatus));
        return 1;
    }
    // The data is another process's: no terminator is taken for granted.
    std::printf("reader: %u bytes: %.*s\n", static_cast<unsigned>(view.nDataLen),
                static_cast<int>(view.nDataLen), reinterpret_cast<const char*>(view.pData));
    ZtkCloseSharedView(&view);

    enStatus = ZtkOpenSharedView("ZTKTool-1-no-such-block", &view);
    std::printf("reader: another name: %s\n", ZtkViewStatusText(enStatus));
    return 0;
}
