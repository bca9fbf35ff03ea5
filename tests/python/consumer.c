/*
 * What a consumer in C makes of a name: for each line of standard input, a name, one line with the text of
 * the status that ZtkOpenSharedView() gives, a tab and errno where the header says that it means something,
 * else 0.
 */
#define _POSIX_C_SOURCE 200809L
#include <stdio.h>
#include <string.h>

#include "common/ztk_shared_view.h"

static int ErrnoMatters(ZtkViewStatus enStatus) {
    return enStatus == ZTK_VIEW_VANISHED || enStatus == ZTK_VIEW_NOT_PERMITTED ||
           enStatus == ZTK_VIEW_SYSTEM_ERROR;
}

int main(void) {
    char szName[1024];
    while (fgets(szName, sizeof(szName), stdin) != NULL) {
        ZtkSharedView view;
        ZtkViewStatus enStatus = ZTK_VIEW_OK;
        szName[strcspn(szName, "\n")] = '\0';
        enStatus = ZtkOpenSharedView(szName, &view);
        printf("%s\t%d\n", ZtkViewStatusText(enStatus), ErrnoMatters(enStatus) ? errno : 0);
        if (fflush(stdout) != 0) return 1;
        ZtkCloseSharedView(&view);
    }
    return 0;
}
