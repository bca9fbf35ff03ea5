/* A consumer of frames needs no library. */
#include <ztk_shared_view.h>

int main(void) {
    ZtkSharedView view;
    return ZtkOpenSharedView("no/name", &view) == ZTK_VIEW_BAD_NAME ? 0 : 1;
}
