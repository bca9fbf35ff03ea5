// A libFuzzer target: 128 bytes of a header, the rest its object's name, through both readers of headers.
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "torture/fuzz/fed_view.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* pData, std::size_t nSize) {
    ztk::torture::HeaderBytes header{};
    const std::size_t nOfHeader = std::min(nSize, header.size());
    std::copy_n(pData, nOfHeader, header.begin());
    std::string name(pData + nOfHeader, pData + nSize);
    name = name.substr(0, name.find('\0'));
    for (const std::string& difference :
         {ztk::torture::CheckOwnView(header), ztk::torture::CheckConsumersView(header, name, 200)}) {
        if (difference.empty()) continue;
        static_cast<void>(std::fprintf(stderr, "DIFFERENCE %s\n", difference.c_str()));
        std::abort();
    }
    return 0;
}
