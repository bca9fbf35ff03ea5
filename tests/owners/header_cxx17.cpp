// Both headers, twice, in both orders, and each before any other.
#include <ztk_common.hpp>
#include <ztk_shared_view.hpp>

#include <ztk_common.hpp>       // NOLINT(readability-duplicate-include)
#include <ztk_shared_view.hpp>  // NOLINT(readability-duplicate-include): that is what is tested

static_assert(sizeof(ztk::Span<const std::byte>) == 2 * sizeof(void*));
