#include "net/CameraModes.h"

#include <gtest/gtest.h>

#include "nubrix/types.h"

namespace nubrix::net {
namespace {

constexpr std::uint32_t kMono8 = 0x01080001;
constexpr std::uint32_t kMono16 = 0x01100007;
constexpr std::uint32_t kCoord3d = 0x011000b8;
constexpr std::uint32_t kRgb8 = 0x02180014;
constexpr std::uint32_t kMono12Packed = 0x010c0006;

/// "Component:Format" of what is chosen for a stream, an empty text for none.
std::string chosen(unsigned int streamType, const std::vector<Offer> &offers,
                   const std::string &wanted = "", bool mono16IsDepth = false)
{
    StreamModes modes;
    modes.streamType = streamType;
    choose(modes, offers, wanted, mono16IsDepth);
    return modes.format == nullptr ? "" : modes.component + ":" + modes.format->name;
}

const std::vector<Offer> kThreeDimensional = {{"Range", kMono16},     {"Intensity", kMono8},
                                              {"Intensity", kMono16}, {"Confidence", kMono8},
                                              {"Intensity", kRgb8},   {"Disparity", kMono16}};

TEST(CameraModesTest, ComponentsOfTheStandardBecomeTheirStreams)
{
    EXPECT_EQ(chosen(NUBRIX_STREAM_DEPTH, kThreeDimensional), "Range:Mono16");
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, kThreeDimensional), "Intensity:Mono8");
    EXPECT_EQ(chosen(NUBRIX_STREAM_COLOR, kThreeDimensional), "Intensity:RGB8");
}

TEST(CameraModesTest, DisparitiesAndConfidencesAreNoStreams)
{
    const std::vector<Offer> offers = {
        {"Disparity", kCoord3d}, {"Disparity", kMono16}, {"Confidence", kMono8}};
    EXPECT_EQ(chosen(NUBRIX_STREAM_DEPTH, offers), "");
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, offers), "");
}

TEST(CameraModesTest, AFormatThatIsNamedIsOfAComponentOfItsKind)
{
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, kThreeDimensional, "Mono16"), "Intensity:Mono16");
    EXPECT_EQ(chosen(NUBRIX_STREAM_DEPTH, kThreeDimensional, "Mono16"), "Range:Mono16");
    EXPECT_EQ(chosen(NUBRIX_STREAM_DEPTH, kThreeDimensional, "Coord3D_C16"), "");
}

TEST(CameraModesTest, AComponentThatIsNamedIsTakenWhateverItIs)
{
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, kThreeDimensional, "Confidence:Mono8"), "Confidence:Mono8");
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, kThreeDimensional, "Range:Mono16"), "Range:Mono16");
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, kThreeDimensional, "Range:Mono8"), "");
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, kThreeDimensional, ":Mono8"), "");
}

TEST(CameraModesTest, WithoutComponentsTheFormatDecides)
{
    const std::vector<Offer> offers = {{"", kMono12Packed}, {"", kMono16}, {"", kMono8}};
    EXPECT_EQ(chosen(NUBRIX_STREAM_DEPTH, offers), "");
    EXPECT_EQ(chosen(NUBRIX_STREAM_DEPTH, offers, "", true), ":Mono16");
    EXPECT_EQ(chosen(NUBRIX_STREAM_DEPTH, offers, "Mono16"), ":Mono16");
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, {{"", kMono16}}), ":Mono16");
    EXPECT_EQ(chosen(NUBRIX_STREAM_IR, {{"", kMono16}}, "", true), "");
    EXPECT_EQ(chosen(NUBRIX_STREAM_COLOR, offers), "");
}

}  // namespace
}  // namespace nubrix::net
