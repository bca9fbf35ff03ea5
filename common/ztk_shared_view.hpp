// ztk_shared_view.hpp - the consumer's side of a named shared block, as a C++17 owner over ztk_shared_view.h.
//
// Header only; links nothing. What ztk_shared_view.h says of ownership, threads and traps holds here.
#ifndef ZTK_SHARED_VIEW_HPP
#define ZTK_SHARED_VIEW_HPP

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

#include "ztk_shared_view.h"

namespace ztk {

/// Elements in a row that somebody else owns; what std::span is from C++20 on, and convertible to it.
template <class T>
class Span {
  public:
    constexpr Span() noexcept = default;
    constexpr Span(T* pFirst, std::size_t nSize) noexcept : pFirst_(pFirst), nSize_(nSize) {}

    constexpr T* data() const noexcept { return pFirst_; }
    constexpr std::size_t size() const noexcept { return nSize_; }
    constexpr bool empty() const noexcept { return nSize_ == 0; }
    constexpr T* begin() const noexcept { return pFirst_; }
    constexpr T* end() const noexcept { return pFirst_ + nSize_; }
    constexpr T& operator[](std::size_t nIndex) const noexcept { return pFirst_[nIndex]; }

  private:
    T* pFirst_ = nullptr;
    std::size_t nSize_ = 0;
};

/// The errors of opening a view: the values of ZtkViewStatus.
class ViewCategory : public std::error_category {
  public:
    const char* name() const noexcept override { return "ztk-view"; }
    std::string message(int nStatus) const override {
        return ZtkViewStatusText(static_cast<ZtkViewStatus>(nStatus));
    }
    std::error_condition default_error_condition(int nStatus) const noexcept override {
        switch (nStatus) {
            case ZTK_VIEW_BAD_ARGUMENT:
            case ZTK_VIEW_BAD_NAME:
                return std::errc::invalid_argument;
            case ZTK_VIEW_VANISHED:
                return std::errc::no_such_file_or_directory;
            case ZTK_VIEW_NOT_PERMITTED:
                return std::errc::permission_denied;
            case ZTK_VIEW_BAD_HEADER:
            case ZTK_VIEW_TOO_SHORT:
            case ZTK_VIEW_WRONG_LENGTH:
            case ZTK_VIEW_NAME_MISMATCH:
                return std::errc::bad_message;
            case ZTK_VIEW_MMZ_DESCRIBED:
            case ZTK_VIEW_NOT_AN_OBJECT:
                return std::errc::not_supported;
            default:
                return {nStatus, *this};
        }
    }

    static const ViewCategory& Get() noexcept {
        static const ViewCategory category;
        return category;
    }
};

/// The error of a view that did not open. A failed system call speaks for itself, with @p nError.
inline std::error_code MakeViewError(ZtkViewStatus enStatus, int nError) noexcept {
    if (enStatus == ZTK_VIEW_SYSTEM_ERROR) return {nError, std::generic_category()};
    return {static_cast<int>(enStatus), ViewCategory::Get()};
}

/// A shared block of another process (or of this one), opened by name and mapped until this object ends.
/// The object in /dev/shm is left alone.
class SharedView {
  public:
    enum class Access { kRead, kReadWrite };

    SharedView() noexcept = default;  ///< closed

    /// @throws std::system_error
    explicit SharedView(const std::string& name, Access enAccess = Access::kRead) {
        const std::error_code error = Open(name.c_str(), enAccess);
        if (error) throw std::system_error(error, "cannot open the shared block " + name);
    }

    /// A closed view, and the reason in @p error, instead of an exception.
    static SharedView TryOpen(const char* szName, std::error_code& error,
                              Access enAccess = Access::kRead) noexcept {
        SharedView view;
        error = view.Open(szName, enAccess);
        return view;
    }

    SharedView(SharedView&& other) noexcept : view_(std::exchange(other.view_, ZtkSharedView{})) {}
    SharedView& operator=(SharedView&& other) noexcept {
        SharedView old(std::move(*this));
        std::swap(view_, other.view_);
        return *this;
    }
    SharedView(const SharedView&) = delete;
    SharedView& operator=(const SharedView&) = delete;
    ~SharedView() { ZtkCloseSharedView(&view_); }

    bool IsOpen() const noexcept { return view_.pMapping != nullptr; }
    explicit operator bool() const noexcept { return IsOpen(); }

    /// What lies behind the header.
    Span<const std::byte> Payload() const noexcept {
        return {reinterpret_cast<const std::byte*>(view_.pData), static_cast<std::size_t>(view_.nDataLen)};
    }

    /// The same, to write to; empty if the view was opened for reading.
    Span<std::byte> WritablePayload() const noexcept {
        unsigned char* pData = ZtkSharedViewData(&view_);
        if (pData == nullptr) return {};
        return {reinterpret_cast<std::byte*>(pData), static_cast<std::size_t>(view_.nDataLen)};
    }

    void Close() noexcept { ZtkCloseSharedView(&view_); }

  private:
    std::error_code Open(const char* szName, Access enAccess) noexcept {
        const ZtkViewStatus enStatus = enAccess == Access::kReadWrite
                                           ? ZtkOpenSharedViewWritable(szName, &view_)
                                           : ZtkOpenSharedView(szName, &view_);
        return enStatus == ZTK_VIEW_OK ? std::error_code() : MakeViewError(enStatus, errno);
    }

    ZtkSharedView view_{};
};

}  // namespace ztk

#endif  // ZTK_SHARED_VIEW_HPP
