// The YUV4MPEG2 stream and frame headers.

#include "lumo/Y4M.h"
#include "lumo/YUVReader.h"
#include "lumo/YUVTypeInstance.h"

#include <gtest/gtest.h>

#include <string>

namespace {

int Parse(const std::string& text, lumo::Y4MHeader& out, std::string& why)
{
    return lumo::ParseY4MHeader(text.data(), text.size(), out, why);
}

std::string IdOf(const lumo::Y4MHeader& h)
{
    return h.type.idName;
}

TEST(Y4MHeaderTest, ReadsSizeColorspaceRateAndLength)
{
    lumo::Y4MHeader h;
    std::string why;
    const std::string text = "YUV4MPEG2 W1920 H1080 F30000:1001 It A1:1 C420jpeg XYSCSS=420JPEG\nFRAME\n";
    ASSERT_EQ(Parse(text, h, why), 0) << why;
    EXPECT_EQ(h.width, 1920);
    EXPECT_EQ(h.height, 1080);
    EXPECT_EQ(h.rateNum, 30000);
    EXPECT_EQ(h.rateDen, 1001);
    EXPECT_EQ(h.colorspace, "420jpeg");
    EXPECT_EQ(IdOf(h), "I420");
    EXPECT_EQ(h.length, static_cast<int64_t>(text.find('\n') + 1));
}

TEST(Y4MHeaderTest, ColorspacesMapToLayouts)
{
    const std::pair<const char*, const char*> cases[] = {
        {"420jpeg", "I420"}, {"420paldv", "I420"}, {"420mpeg2", "I420"}, {"420", "I420"},
        {"422", "I422"},     {"444", "I444"},      {"mono", "GRAY"},     {"420p10", "I420P10"},
        {"422p10", "I422P10"}, {"444p10", "I444P10"}};
    for (auto [cs, layout] : cases) {
        lumo::Y4MHeader h;
        std::string why;
        ASSERT_EQ(Parse(std::string("YUV4MPEG2 W4 H2 C") + cs + "\n", h, why), 0) << cs << why;
        EXPECT_EQ(IdOf(h), layout) << cs;
    }
}

TEST(Y4MHeaderTest, WithoutColorspaceItIs420jpeg)
{
    lumo::Y4MHeader h;
    std::string why;
    ASSERT_EQ(Parse("YUV4MPEG2 W8 H6\n", h, why), 0) << why;
    EXPECT_EQ(IdOf(h), "I420");
    EXPECT_EQ(h.rateNum, 0);
}

TEST(Y4MHeaderTest, BadHeadersNameTheirProblem)
{
    const std::pair<std::string, std::string> cases[] = {
        {"", "signature"},
        {"YUV4MPEG W8 H6\n", "signature"},
        {"YUV4MPEG2 W8 H6", "line end"},
        {"YUV4MPEG2 H6\n", "width"},
        {"YUV4MPEG2 W8\n", "height"},
        {"YUV4MPEG2 W0 H6\n", "width"},
        {"YUV4MPEG2 W-8 H6\n", "width"},
        {"YUV4MPEG2 W8x H6\n", "width"},
        {"YUV4MPEG2 W8 H99999999999999999999\n", "height"},
        {"YUV4MPEG2 W1048577 H6\n", "width"},
        {"YUV4MPEG2 W8 H6 C420p12\n", "colorspace"},
        {"YUV4MPEG2 W8 H6 Cmono16\n", "colorspace"},
        {"YUV4MPEG2 W7 H6 C420\n", "odd"},
        {"YUV4MPEG2 W8 H5 C420jpeg\n", "odd"},
        {"YUV4MPEG2 W7 H6 C422\n", "odd"},
        {"YUV4MPEG2 W8 H6 F30\n", "frame rate"},
        {"YUV4MPEG2 W8 H6 F0:1\n", "frame rate"},
    };
    for (const auto& [text, word] : cases) {
        lumo::Y4MHeader h;
        std::string why;
        EXPECT_EQ(Parse(text, h, why), -1) << text;
        EXPECT_NE(why.find(word), std::string::npos) << text << ": " << why;
        EXPECT_EQ(why.find('\n'), std::string::npos) << why;
    }
}

TEST(Y4MHeaderTest, OddSizesAreFineWithoutSubsampling)
{
    lumo::Y4MHeader h;
    std::string why;
    EXPECT_EQ(Parse("YUV4MPEG2 W7 H5 C444\n", h, why), 0) << why;
    EXPECT_EQ(Parse("YUV4MPEG2 W7 H5 Cmono\n", h, why), 0) << why;
    EXPECT_EQ(Parse("YUV4MPEG2 W7 H6 C422\n", h, why), -1);
    EXPECT_EQ(Parse("YUV4MPEG2 W8 H5 C422\n", h, why), 0) << why;
}

TEST(Y4MHeaderTest, HeaderLongerThanTheLimitIsRefused)
{
    const std::string text = "YUV4MPEG2 W8 H6 X" + std::string(lumo::kY4MMaxHeaderBytes, 'a') + "\n";
    lumo::Y4MHeader h;
    std::string why;
    EXPECT_EQ(Parse(text, h, why), -1);
    EXPECT_NE(why.find("line end"), std::string::npos) << why;
}

TEST(Y4MHeaderTest, BinaryBytesInAFieldStayOutOfTheMessage)
{
    lumo::Y4MHeader h;
    std::string why;
    EXPECT_EQ(Parse(std::string("YUV4MPEG2 W8 H6 C4\x01\xff\r\n", 23), h, why), -1);
    for (char c : why) {
        EXPECT_TRUE(c >= 0x20 && c < 0x7f) << why;
    }
}

TEST(Y4MFrameHeaderTest, LengthIncludesFieldsAndLineFeed)
{
    const std::string plain = "FRAME\nrest";
    EXPECT_EQ(lumo::Y4MFrameHeaderLength(plain.data(), plain.size()), 6);
    const std::string fields = "FRAME Ip XA\nrest";
    EXPECT_EQ(lumo::Y4MFrameHeaderLength(fields.data(), fields.size()), 12);
    for (const std::string bad : {"FRAM\n", "FRAMEX\n", "frame\n", "FRAME", "FRAME no end", ""}) {
        EXPECT_EQ(lumo::Y4MFrameHeaderLength(bad.data(), bad.size()), 0) << bad;
    }
}

TEST(Y4MTest, SignatureCheck)
{
    EXPECT_TRUE(lumo::IsY4M("YUV4MPEG2 W", 11));
    EXPECT_FALSE(lumo::IsY4M("YUV4MPEG2", 9));
    EXPECT_FALSE(lumo::IsY4M("RIFF....", 8));
}

} // namespace
