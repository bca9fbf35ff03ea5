/* A block that a forked child has a copy of, and gives back as its parent does. */
#include <stddef.h>
#include <sys/wait.h>
#include <unistd.h>
#include <ztk_common.h>

int main(void) {
    void* pBlock = NULL;
    int nStatus = 1;
    pid_t nChild;
    if (AllocatePoolMemory(1000, ZTK_MEM_OS, &pBlock, NULL) != ZTK_SUCCESS) return 1;
    nChild = fork();
    if (nChild == 0) _exit(FreePoolMemory(pBlock) == ZTK_SUCCESS ? 0 : 1);
    if (waitpid(nChild, &nStatus, 0) != nChild || nStatus != 0) return 1;
    return FreePoolMemory(pBlock) == ZTK_SUCCESS ? 0 : 1;
}
