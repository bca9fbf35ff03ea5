// Named shared-memory objects with a 128-byte header, in the shape of "file mappings": create an object, map
// a view of it, unmap the view, close the object.
//
// A mapping handle is the object's descriptor. No state and no lock; other processes may work on the same
// names at the same time.
#pragma once

#include <cstddef>
#include <cstdint>

#include "common/status.h"

namespace ztk {

constexpr std::int32_t kNoMapping = -1;
constexpr std::uint64_t kHeaderSize = ZTK_SHARED_HEADER_SIZE;

/// The first 128 bytes of every segment, in native byte order: read by every process that maps it.
struct [[gnu::packed]] MappingHeader {
    std::uint64_t nDataLen;      ///< bytes behind the header
    std::uint8_t byReserved8;    ///< 0
    std::uint8_t byMMZ;          ///< 0: the data follows; else szMmz describes an MMZ block
    std::uint8_t byReserved[4];  ///< 0
    std::uint16_t nHeaderLen;    ///< 128
    char szName[80];             ///< the object's name without terminator, the rest zero
    char szMmz[32];              ///< "MMZ_%ld_%p": physical and virtual address; not terminated when full
};

static_assert(sizeof(MappingHeader) == kHeaderSize);
static_assert(offsetof(MappingHeader, nDataLen) == 0);
static_assert(offsetof(MappingHeader, byReserved8) == 8);
static_assert(offsetof(MappingHeader, byMMZ) == 9);
static_assert(offsetof(MappingHeader, byReserved) == 10);
static_assert(offsetof(MappingHeader, nHeaderLen) == 14);
static_assert(offsetof(MappingHeader, szName) == 16);
static_assert(offsetof(MappingHeader, szMmz) == 96);

/// Creates the object, or takes over the one that bears the name; gives it its length, memory and header.
/// Returns its descriptor, or kNoMapping with a status code in @p pErr.
std::int32_t CreateMapping_Linux(const char* pName, std::uint64_t nMappingLen, std::uint32_t* pErr);

/// Opens an existing object for reading and writing. Returns its descriptor or kNoMapping; judge by that,
/// since @p pErr receives errno as it stands in any case.
std::int32_t OpenMapping_Linux(const char* pName, std::uint32_t* pErr);

/// Checks the header, maps the whole object (header included) for reading and writing and clears the data
/// behind the header. Failure is a non-zero status code in @p pErr, whatever address is returned.
void* MapView_Linux(std::int32_t hOsMapping, std::uint64_t nMappingLen, std::uint32_t* pErr);

/// Returns and stores 0, or the errno of the failed munmap.
std::uint32_t UnmapView_Linux(void* pView, std::uint64_t nMappingLen, std::uint32_t* pErr);

/// Removes the name and closes the descriptor. Returns and stores 0; or the errno of the failed removal,
/// with the descriptor left open.
std::uint32_t CloseMapping_Linux(std::int32_t hOsMapping, const char* pName, std::uint32_t* pErr);

}  // namespace ztk
