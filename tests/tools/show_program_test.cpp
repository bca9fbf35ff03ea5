// `ztkmem show`: header, bytes, pictures.
#include <png.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <functional>

#include "tools/program_test.h"

namespace ztkmem::test {
namespace {

struct Png {
    unsigned nWidth = 0;
    unsigned nHeight = 0;
    bool bGray = false;
    Bytes pixels;  ///< gray or RGB
};

Png ReadPng(const std::string& path) {
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return {};
    Png png{image.width, image.height, (image.format & PNG_FORMAT_FLAG_COLOR) == 0, {}};
    image.format = png.bGray ? PNG_FORMAT_GRAY : PNG_FORMAT_RGB;
    png.pixels.resize(PNG_IMAGE_SIZE(image));
    png_image_finish_read(&image, nullptr, png.pixels.data(), 0, nullptr);
    return png;
}

class Show : public ProgramTest {
  protected:
    const std::string name_ = PoolName(kNobody);

    Outcome Save(const std::string& shape, const std::vector<std::string>& more = {}) const {
        std::vector<std::string> arguments{"show", name_, "--as", shape, "-o", Picture()};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return ZtkMem(arguments);
    }
    std::string Picture() const { return Folder() + "/out.png"; }
};

TEST_F(Show, TakesAGoodHeaderApart) {
    WriteSegment(name_, Pattern(100'000));
    SetAge(name_, 26 * kHour);
    const Outcome outcome = ZtkMem({"show", name_, "--this-pid-namespace", "--hex", "--length", "200"});
    EXPECT_EQ(outcome.nStatus, 0);
    EXPECT_EQ(WithoutUnread(outcome.out), Golden("show.txt"));
}

TEST_F(Show, TellsWhatIsWrongWithAnOverwrittenHeader) {
    WriteObject(name_, Bytes(4096, 0x55));
    SetAge(name_, 26 * kHour);
    const Outcome outcome = ZtkMem({"show", name_, "--this-pid-namespace"});
    EXPECT_EQ(outcome.nStatus, 1);
    EXPECT_EQ(WithoutUnread(outcome.out), Golden("show-overwritten.txt"));
}

TEST_F(Show, FindsNamesAsPrinted) {
    const std::string hostile = "ZTKTool-\n\xff-1";
    WriteSegment(hostile, Pattern(4));
    EXPECT_EQ(ZtkMem({"show", "ZTKTool-\\x0a\\xff-1"}).nStatus, 0);
    EXPECT_EQ(ZtkMem({"show", "/dev/shm/" + hostile}).nStatus, 0);
    EXPECT_EQ(ZtkMem({"show", "ZTKTool-\\x0a\\xfe-1"}).err,
              "ztkmem: no object in /dev/shm is named \"ZTKTool-\\\\x0a\\\\xfe-1\"\n");
    EXPECT_EQ(ZtkMem({"show", "../../etc/passwd"}).nStatus, 2);
}

TEST_F(Show, DumpsFromAnOffsetBehindTheHeader) {
    WriteSegment(name_, Pattern(1000));
    const Outcome outcome = ZtkMem({"show", name_, "--hex", "--offset", "990", "--length", "64"});
    EXPECT_NE(outcome.out.find("\n0000045e  "), std::string::npos) << outcome.out;
    EXPECT_NE(outcome.out.find("(the object ends at 0x468)\n"), std::string::npos) << outcome.out;
    EXPECT_EQ(ZtkMem({"show", name_, "--hex", "--offset", "18446744073709551615"}).nStatus, 2);
    EXPECT_EQ(ZtkMem({"show", name_, "--offset", "1"}).nStatus, 2) << "an offset of what?";
}

TEST_F(Show, NumbersBelowZeroAreNone) {
    WriteSegment(name_, Pattern(1000));
    for (const char* szOption : {"--offset", "--length"}) {
        for (const char* szNumber : {"-5", "-18446744073709551600", "+5", ""}) {
            const Outcome outcome = ZtkMem({"show", name_, "--hex", std::string(szOption) + "=" + szNumber});
            EXPECT_EQ(outcome.nStatus, 2) << szOption << szNumber;
            EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
        }
    }
    const Outcome outcome = ZtkMem({"show", name_, "--hex", "--offset", "-5"});
    EXPECT_EQ(outcome.nStatus, 2);
    EXPECT_NE(outcome.err.find(R"("-5" is no number of bytes)"), std::string::npos) << outcome.err;
    EXPECT_EQ(ZtkMem({"show", name_, "--hex", "--offset", "0x10"}).nStatus, 0);
}

TEST_F(Show, WhatIsNoObjectIsSaidToBeNone) {
    const std::string path = "/dev/shm/" + name_;
    const auto expectNone = [this] {
        for (const Outcome& outcome : {ZtkMem({"show", name_, "--hex"}), Save("gray8:4x4")}) {
            EXPECT_EQ(outcome.nStatus, 2);
            EXPECT_EQ(outcome.err, "ztkmem: " + name_ + ": not a shared-memory object\n");
        }
        std::filesystem::remove(std::filesystem::path("/dev/shm") / name_);
    };
    ASSERT_EQ(symlink("/etc/passwd", path.c_str()), 0);
    expectNone();
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    expectNone();
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    expectNone();
    ASSERT_EQ(mknod(path.c_str(), S_IFSOCK | 0600, 0), 0);
    expectNone();
}

TEST_F(Show, PathsAreEscaped) {
    WriteSegment(name_, Pattern(16));
    const std::string hostile = Folder() + "/\x1b[2J.png";
    const Outcome written = ZtkMem({"show", name_, "--as", "gray8:4x4", "-o", hostile});
    EXPECT_EQ(written.nStatus, 0) << written.err;
    EXPECT_NE(written.out.find("written: " + Folder() + "/\\x1b[2J.png\n"), std::string::npos) << written.out;
    const Outcome refused = ZtkMem({"show", name_, "--as", "gray8:4x4", "-o", hostile + "/x.png"});
    EXPECT_EQ(refused.nStatus, 2);
    EXPECT_NE(refused.err.find("/\\x1b[2J.png/x.png: cannot be written (Not a directory)\n"),
              std::string::npos)
        << refused.err;
}

TEST_F(Show, LargePicturesNeedLittleMemory) {
#if defined(ZTK_ADDRESS_SANITIZER) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers reserve more addresses than the limit allows";
#endif
    constexpr unsigned kSide = 6000;
    WriteSegment(name_, {});
    ASSERT_EQ(truncate(("/dev/shm/" + name_).c_str(), 128 + 3L * kSide * kSide), 0);
    const Outcome outcome = RunProgram(
        {"prlimit", "--as=80000000", ZTKMEM, "show", name_, "--as", "rgb24:6000x6000", "-o", Picture()});
    EXPECT_EQ(outcome.err, "");
    const Png png = ReadPng(Picture());
    EXPECT_EQ(png.nWidth, kSide);
    EXPECT_EQ(png.nHeight, kSide);
    EXPECT_EQ(png.pixels, Bytes(3UL * kSide * kSide));
}

TEST_F(Show, GrayIsWrittenPixelByPixel) {
    const Bytes data = Pattern(64 * 48 + 100);
    WriteSegment(name_, data);
    const Outcome outcome = Save("gray8:64x48", {"--offset", "100"});
    ASSERT_EQ(outcome.nStatus, 0) << outcome.err;
    const Png png = ReadPng(Picture());
    EXPECT_TRUE(png.bGray);
    EXPECT_EQ(png.nWidth, 64U);
    EXPECT_EQ(png.nHeight, 48U);
    EXPECT_EQ(png.pixels, Bytes(data.begin() + 100, data.end()));
}

TEST_F(Show, RgbAndBgrAreWrittenPixelByPixel) {
    const Bytes data = Pattern(31UL * 7 * 3);
    WriteSegment(name_, data);
    ASSERT_EQ(Save("rgb24:31x7").nStatus, 0);
    EXPECT_EQ(ReadPng(Picture()).pixels, data);
    ASSERT_EQ(Save("bgr24:31x7").nStatus, 0);
    Bytes turned = data;
    for (std::size_t i = 0; i < turned.size(); i += 3)
        std::swap(turned[i], turned[i + 2]);
    EXPECT_EQ(ReadPng(Picture()).pixels, turned);
}

/// Full colours in video's own numbers, as colour bars are broadcast.
struct Bar {
    std::uint8_t byY, byU, byV;
    Bytes rgb;
};
const std::vector<Bar> kBars{{235, 128, 128, {255, 255, 255}}, {210, 16, 146, {255, 255, 0}},
                             {170, 166, 16, {0, 255, 255}},    {145, 54, 34, {0, 255, 0}},
                             {106, 202, 222, {255, 0, 255}},   {81, 90, 240, {255, 0, 0}},
                             {41, 240, 110, {0, 0, 255}},      {16, 128, 128, {0, 0, 0}}};

void ExpectBars(const Png& png, unsigned nHeight) {
    const auto nWidth = static_cast<unsigned>(kBars.size() * 2);
    ASSERT_EQ(png.nWidth, nWidth);
    ASSERT_EQ(png.nHeight, nHeight);
    for (std::size_t i = 0; i < png.pixels.size(); ++i) {
        const std::size_t nPixel = i / 3;
        EXPECT_NEAR(png.pixels[i], kBars[nPixel % nWidth / 2].rgb[i % 3], 2) << "pixel " << nPixel;
    }
}

TEST_F(Show, Nv12IsWrittenInItsColours) {
    constexpr int kHeight = 6;
    Bytes data;
    for (int y = 0; y < kHeight; ++y)
        for (const Bar& bar : kBars)
            data.insert(data.end(), {bar.byY, bar.byY});
    for (int y = 0; y < kHeight / 2; ++y)
        for (const Bar& bar : kBars)
            data.insert(data.end(), {bar.byU, bar.byV});
    WriteSegment(name_, data);
    ASSERT_EQ(Save("nv12:16x6").nStatus, 0);
    ExpectBars(ReadPng(Picture()), kHeight);
}

TEST_F(Show, YuyvIsWrittenInItsColours) {
    Bytes data;
    for (int y = 0; y < 3; ++y)
        for (const Bar& bar : kBars)
            data.insert(data.end(), {bar.byY, bar.byU, bar.byY, bar.byV});
    WriteSegment(name_, data);
    ASSERT_EQ(Save("yuyv:16x3").nStatus, 0);
    ExpectBars(ReadPng(Picture()), 3);
}

TEST_F(Show, PictureOfAnOverwrittenSegmentIsStillWritten) {
    WriteObject(name_, Bytes(128 + 16, 0x55));
    EXPECT_EQ(Save("gray8:4x4").nStatus, 1) << "the header is not good";
    EXPECT_EQ(ReadPng(Picture()).pixels, Bytes(16, 0x55));
}

TEST_F(Show, NeverReadsBeyondTheObject) {
    WriteSegment(name_, Pattern(16));
    EXPECT_EQ(Save("gray8:4x4").nStatus, 0);
    unlink(Picture().c_str());
    for (const std::vector<std::string>& more : {std::vector<std::string>{"--offset", "1"},
                                                 {"--offset", "17"},
                                                 {"--offset", "18446744073709551615"}}) {
        const Outcome outcome = Save("gray8:4x4", more);
        EXPECT_EQ(outcome.nStatus, 2);
        EXPECT_NE(outcome.err.find("takes 16 bytes from data offset " + more.back()), std::string::npos)
            << outcome.err;
    }
    EXPECT_EQ(Save("rgb24:10000x10000").nStatus, 2);
    EXPECT_NE(access(Picture().c_str(), F_OK), 0) << "nothing half-made is left";
}

TEST_F(Show, BelievesNoLengthInTheHeader) {
    Bytes bytes = HeaderOf(name_, UINT64_MAX);
    bytes.resize(200);
    WriteObject(name_, bytes);
    EXPECT_EQ(Save("gray8:100x100").nStatus, 2);
    EXPECT_EQ(ZtkMem({"show", name_, "--hex"}).nStatus, 1);
}

TEST_F(Show, ComplainsInOneLine) {
    WriteSegment(name_, Pattern(16));
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"show", name_, "--as", "gray8:4x4"},
          {"show", name_, "-o", Picture()},
          {"show", name_, "--as", "jpeg:4x4", "-o", Picture()},
          {"show", name_, "--as", "gray8:4x4", "-o", Folder() + "/none/out.png"},
          {"show", name_, "--hex", "--length", "0"},
          {"show", "no-such-object"}}) {
        const Outcome outcome = ZtkMem(arguments);
        EXPECT_EQ(outcome.nStatus, 2);
        EXPECT_EQ(outcome.err.find('\n'), outcome.err.size() - 1) << outcome.err;
    }
}

TEST_F(Show, FuzzedHeadersNeverConfuseIt) {
    unsigned nState = 12345;
    const auto next = [&nState] { return (nState = nState * 1103515245U + 12345U) >> 16U; };
    for (int i = 0; i < 40; ++i) {
        Bytes bytes = i % 2 == 0 ? HeaderOf(name_, 72) : Bytes(128);
        bytes.resize(next() % 3 == 0 ? next() % 200 : 200);
        for (unsigned n = 0; n < next() % 20 && !bytes.empty(); ++n)
            bytes[next() % bytes.size()] = static_cast<std::uint8_t>(next());
        WriteObject(name_, bytes);
        const Outcome outcome = ZtkMem({"show", name_, "--hex"});
        EXPECT_TRUE(outcome.nStatus == 0 || outcome.nStatus == 1) << outcome.err;
        for (const char ch : outcome.out)
            ASSERT_TRUE(ch == '\n' || (static_cast<unsigned char>(ch) >= 0x20 && ch != 0x7F));
    }
}

}  // namespace
}  // namespace ztkmem::test
