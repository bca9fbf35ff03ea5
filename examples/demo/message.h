// What camera and viewer say to each other, over a Unix socket that keeps messages whole. The pixels are
// not in the messages: these carry the name of the shared block that holds them.
#pragma once

#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>

namespace demo {

constexpr std::size_t kNameSize = 64;  // of a shared block's name, with its terminator

enum class Format : std::uint32_t { kGray = 1, kRgb = 3 };  // the value is the bytes of a pixel

enum class Kind : std::uint32_t {
    kFrame,          ///< in a block with the library's header in front
    kFrameNoHeader,  ///< in a plain object that has only the pixels
    kEnd,            ///< no more frames; the viewer ends
};

/// From the camera: a frame is ready. The block is the viewer's to read until it answers.
struct FrameMessage {
    Kind kind = Kind::kEnd;
    Format format = Format::kRgb;
    std::uint32_t nWidth = 0;
    std::uint32_t nHeight = 0;
    std::uint64_t nFrame = 0;
    std::uint64_t nCheckSum = 0;
    std::uint32_t nSheetRow = 0;  ///< not 0: save what you see for that row of the contact sheet
    char szName[kNameSize] = {};

    std::size_t Size() const { return std::size_t{nWidth} * nHeight * static_cast<std::size_t>(format); }
};

/// From the viewer: done with the block of this name.
struct AnswerMessage {
    std::uint64_t nFrame = 0;
    std::uint32_t bArrivedAsSent = 0;
    std::uint32_t nEdgePixels = 0;
    char szName[kNameSize] = {};
};

/// False if the other side is gone.
template <class Message>
bool Send(int nSocket, const Message& message) {
    const ssize_t nSent = send(nSocket, &message, sizeof(message), MSG_NOSIGNAL);
    if (nSent == static_cast<ssize_t>(sizeof(message))) return true;
    if (nSent < 0 && errno != EPIPE && errno != ECONNRESET) {
        throw std::runtime_error(std::string("socket: ") + std::strerror(errno));
    }
    return false;
}

/// Waits for a message. False if the other side is gone.
template <class Message>
bool Receive(int nSocket, Message& message) {
    ssize_t nReceived = -1;
    do {
        nReceived = recv(nSocket, &message, sizeof(message), 0);
    } while (nReceived < 0 && errno == EINTR);
    if (nReceived == static_cast<ssize_t>(sizeof(message))) return true;
    if (nReceived == 0 || (nReceived < 0 && errno == ECONNRESET)) return false;
    throw std::runtime_error(nReceived < 0 ? std::string("socket: ") + std::strerror(errno)
                                           : "socket: a message of the wrong size");
}

}  // namespace demo
