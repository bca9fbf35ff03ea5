// A program with the defect that it is asked for: that a sanitizer finds it shows that the sanitizer works on
// this board, and that its silence elsewhere means something. Usage: defect leak|overflow|undefined|race
#include <climits>
#include <cstdlib>
#include <cstring>
#include <thread>

namespace {

char* volatile g_pLast = nullptr;
int g_nCounted = 0;
volatile int g_nMost = INT_MAX;

/// More than one: a register may still name the last.
void Leak() {
    for (int i = 0; i < 100; ++i)
        g_pLast = new char[16];
    g_pLast = nullptr;
}

void Overflow() {
    char* pBlock = new char[16];
    g_pLast = pBlock;
    g_pLast[16] = 'x';
    delete[] pBlock;
}

void Undefined() {
    g_nMost = g_nMost + 1;
}

void Race() {
    const auto count = [] {
        for (int i = 0; i < 1000; ++i)
            ++g_nCounted;
    };
    std::thread other(count);
    count();
    other.join();
}

}  // namespace

int main(int nCount, char** ppArguments) {
    if (nCount != 2) return 2;
    const char* szDefect = ppArguments[1];
    if (std::strcmp(szDefect, "leak") == 0) Leak();
    if (std::strcmp(szDefect, "overflow") == 0) Overflow();
    if (std::strcmp(szDefect, "undefined") == 0) Undefined();
    if (std::strcmp(szDefect, "race") == 0) Race();
    return 0;
}
