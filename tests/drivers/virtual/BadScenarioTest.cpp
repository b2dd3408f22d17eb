// Invalid scenarios and the error messages for them.
#include <gmock/gmock.h>

#include "virtual/Scenario.h"

namespace nubrix::virtual_camera {
namespace {

using testing::HasSubstr;

/// An invalid scenario and its error message.
struct Bad {
    const char *name;
    const char *text;
    const char *key;
    int line;
    const char *message;
};

void PrintTo(const Bad &bad, std::ostream *stream)
{
    *stream << bad.text;
}

class BadScenarioTest : public testing::TestWithParam<Bad> {};

TEST_P(BadScenarioTest, IsReportedWithKeyAndLine)
{
    const auto result = parseScenario(GetParam().text, ".");
    const auto *error = std::get_if<ScenarioError>(&result);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->key, GetParam().key);
    EXPECT_EQ(error->line, GetParam().line);
    EXPECT_THAT(error->message, HasSubstr(GetParam().message));
}

const Bad kSyntax[] = {
    {"Empty", "", "", 1, "unexpected end of input"},
    {"OnlyBlankLines", "\n\n", "", 2, "unexpected end of input"},
    {"Unclosed", "{\n\"cameras\": 1\n", "", 2, "unexpected end of input"},
    {"MissingComma", "{\n\"cameras\": 1\n\"pacing\": 2}", "", 3, "unexpected string literal"},
    {"MissingColon", "{\n\"cameras\"\n1}", "", 3, "expected ':'"},
    {"TrailingText", "{\n}\nx", "", 3, "expected end of input"},
    {"BadWord", "{\n\"cameras\": tru\n}", "", 2, "invalid literal"},
    {"BadNumber", "{\n\n\"cameras\": 1.x}", "", 3, "invalid number"},
    {"HugeNumber", "{\n\"cameras\": 1e999\n}", "", 2, "number overflow parsing '1e999'"},
    {"BadEscape", "{\n\"\\x\": 1}", "", 2, "invalid string"},
    {"NoUtf8", "{\n\n\n\"\xff\": 1}", "", 4, "invalid string"},
    {"LineBreakInText", "{\n\"a\nb\": 1}", "", 2, "invalid string"},
    {"Twice", "{\n\"cameras\": 1,\n\"cameras\": 2}", "cameras", 3, "twice"},
    {"TooDeep", "{\"a\":\n[[[[[[[[[[[[[[[[[[[[[[[[[[1]]]]]]]]]]]]]]]]]]]]]]]]]]}",
     "a[0][0][0][0][0][0][0][0][0][0][0][0][0][0][0]", 2, "too deeply"},
};
INSTANTIATE_TEST_SUITE_P(Syntax, BadScenarioTest, testing::ValuesIn(kSyntax),
                         [](const auto &test) { return test.param.name; });

const Bad kGeneral[] = {
    {"List", "\n[]", "", 2, "must be an object"},
    {"Number", "1", "", 1, "must be an object"},
    {"UnknownKey", "{\n\"cameras\": 1,\n\n\"colour\": 2\n}", "colour", 4, "no such key"},
    {"KeyWithoutAName", "{\n\"\": 1\n}", "\"\"", 2, "no such key"},
    {"UnknownKeyOfPaths", "{\n\"a.b\": {}\n}", "\"a.b\"", 2, "no such key"},
    {"CamerasText", "{\n\"cameras\":\n\"2\"}", "cameras", 2, "must be a list"},
    {"CamerasTooMany", "{\"cameras\": 17}", "cameras", 1, "from 0 to 16"},
    {"CamerasNegative", "{\"cameras\": -1}", "cameras", 1, "from 0 to 16"},
    {"CamerasFraction", "{\"cameras\": 1.5}", "cameras", 1, "must be a list"},
    {"CamerasHuge", "{\"cameras\": 18446744073709551615}", "cameras", 1, "from 0 to 16"},
    {"CameraList", "{\"cameras\": [1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17]}",
     "cameras[0]", 1, "must be a serial number or an object"},
    {"CameraListTooLong", "{\"cameras\": [\n{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{},{}]}",
     "cameras", 1, "no more than 16"},
    {"CameraKey", "{\"cameras\": [\"A\",\n{\n\"serail\": 1}]}", "cameras[1].serail", 3,
     "no such key"},
    {"SerialType", "{\"cameras\": [\n{\"serial\": 5}]}", "cameras[0].serial", 2, "must be a text"},
    {"SerialEmpty", "{\"cameras\": [\n\"\"]}", "cameras[0]", 2, "must be 1 to 32"},
    {"SerialBlank", "{\"cameras\": [\n\"A B\"]}", "cameras[0]", 2, "must be 1 to 32"},
    {"SerialLong", "{\"cameras\": [\n\"123456789012345678901234567890123\"]}", "cameras[0]", 2,
     "must be 1 to 32"},
    {"SerialTwice", "{\"cameras\": [\n\"A\",\n\"B\",\n\"A\"\n]}", "cameras[2]", 4,
     "there is another camera A"},
    {"SerialTakenByDefault", "{\"cameras\": [\n\"VIRT0002\",\n{}]}", "cameras[1]", 3,
     "there is another camera VIRT0002"},
    {"Plugged", "{\"cameras\": [\n\n{\"plugged\": 1}]}", "cameras[0].plugged", 3,
     "must be true or false"},
    {"PacingType", "{\n\"pacing\": 1}", "pacing", 2, "must be a text"},
    {"Pacing", "{\n\"pacing\": \"slow\"}", "pacing", 2, "must be \"realtime\" or \"free\""},
    {"FrameRateZero", "{\"frame_rate\":\n0\n}", "frame_rate", 1, "from 1 to 120"},
    {"FrameRateHigh", "{\"frame_rate\": 121}", "frame_rate", 1, "from 1 to 120"},
    {"FrameRateFraction", "{\"frame_rate\": 29.97}", "frame_rate", 1, "must be a whole number"},
};
INSTANTIATE_TEST_SUITE_P(General, BadScenarioTest, testing::ValuesIn(kGeneral),
                         [](const auto &test) { return test.param.name; });

const Bad kImages[] = {
    {"Source", "{\n\"source\": \"film\"}", "source", 2,
     "must be \"scene\", \"images\" or \"recording\""},
    {"SourceWithoutImages", "{\n\"source\": \"images\"}", "source", 2, "images is missing"},
    {"ImagesWithoutSource", "{\n\n\"images\": {\"folder\": \"x\"}}", "images", 3, "only goes with"},
    {"ImagesWithScene", "{\"source\": \"scene\",\n\"images\": {\"folder\": \"x\"}}", "images", 2,
     "only goes with"},
    {"ImagesType", "{\"source\": \"images\",\n\"images\": \"x\"}", "images", 2,
     "must be an object"},
    {"NoFolder", "{\"source\": \"images\",\n\"images\": {\n}}", "images", 2, "folder is missing"},
    {"FolderType", "{\"source\": \"images\",\n\"images\": {\n\"folder\": []}}", "images.folder", 3,
     "must be a text"},
    {"FolderEmpty", "{\"source\": \"images\",\n\"images\": {\n\"folder\": \"\"}}", "images.folder",
     3, "must not be empty"},
    {"ImagesKey", "{\"source\": \"images\",\n\"images\": {\n\"folder\": \"x\",\n\"loop\": true}}",
     "images.loop", 4, "no such key"},
    {"Repeat", "{\"source\": \"images\",\n\"images\": {\n\"folder\": \"x\",\n\"repeat\": \"no\"}}",
     "images.repeat", 4, "must be \"loop\" or \"once\""},
    {"DepthUnit",
     "{\"source\": \"images\",\n\"images\": {\n\"folder\": \"x\",\n\"depth_unit_mm\": 0}}",
     "images.depth_unit_mm", 4, "must be from 1e-06 to 1000"},
    {"DepthUnitType",
     "{\"source\": \"images\",\n\"images\": {\n\"folder\": \"x\",\n\"depth_unit_mm\": \"mm\"}}",
     "images.depth_unit_mm", 4, "must be a number"},
    {"IntrinsicsMissing",
     "{\"source\": \"images\", \"images\": {\"folder\": \"x\",\n\"intrinsics\": {\"fx\": 1}}}",
     "images.intrinsics", 2, "fy is missing"},
    {"IntrinsicsRange",
     "{\"source\": \"images\", \"images\": {\"folder\": \"x\",\n\"intrinsics\": {\n\"fx\": 0,"
     "\n\"fy\": 1, \"cx\": 1, \"cy\": 1}}}",
     "images.intrinsics.fx", 3, "must be from"},
    {"IntrinsicsKey",
     "{\"source\": \"images\", \"images\": {\"folder\": \"x\",\n\"intrinsics\": {\n\"k1\": 0}}}",
     "images.intrinsics.k1", 3, "no such key"},
};
INSTANTIATE_TEST_SUITE_P(Images, BadScenarioTest, testing::ValuesIn(kImages),
                         [](const auto &test) { return test.param.name; });

const Bad kRecording[] = {
    {"SourceWithoutRecording", "{\n\"source\": \"recording\"}", "source", 2,
     "recording is missing"},
    {"RecordingWithoutSource", "{\n\n\"recording\": {\"file\": \"x\"}}", "recording", 3,
     "only goes with \"source\": \"recording\""},
    {"RecordingType", "{\"source\": \"recording\",\n\"recording\": \"x\"}", "recording", 2,
     "must be an object"},
    {"NoFile", "{\"source\": \"recording\",\n\"recording\": {}}", "recording", 2,
     "file is missing"},
    {"FileEmpty", "{\"source\": \"recording\", \"recording\": {\n\"file\": \"\"}}",
     "recording.file", 2, "must not be empty"},
    {"RecordingKey",
     "{\"source\": \"recording\", \"recording\": {\"file\": \"x\",\n\"folder\": 1}}",
     "recording.folder", 2, "no such key"},
    {"RecordingRepeat",
     "{\"source\": \"recording\", \"recording\": {\"file\": \"x\",\n\"repeat\": \"twice\"}}",
     "recording.repeat", 2, "must be \"loop\" or \"once\""},
    {"RecordingDepthUnit",
     "{\"source\": \"recording\", \"recording\": {\"file\": \"x\",\n\"depth_unit_mm\": 0}}",
     "recording.depth_unit_mm", 2, "must be from 1e-06 to 1000"},
};
INSTANTIATE_TEST_SUITE_P(Recording, BadScenarioTest, testing::ValuesIn(kRecording),
                         [](const auto &test) { return test.param.name; });

const Bad kUpgrade[] = {
    {"NoBlock", "{\"faults\": [\n{\"type\": \"upgrade_cut\"}]}", "faults[0]", 2,
     "at_block is missing"},
    {"BlockRange", "{\"faults\": [{\"type\": \"upgrade_cut\",\n\"at_block\": -1}]}",
     "faults[0].at_block", 2, "from 0 to 1000000000"},
    {"NoMoment", "{\"faults\": [{\"type\": \"upgrade_cut\", \"at_block\": 1,\n\"at_ms\": 5}]}",
     "faults[0].at_ms", 2, "no such key"},
};
INSTANTIATE_TEST_SUITE_P(Upgrade, BadScenarioTest, testing::ValuesIn(kUpgrade),
                         [](const auto &test) { return test.param.name; });

const Bad kFaults[] = {
    {"FaultsType", "{\n\"faults\": {}}", "faults", 2, "must be a list"},
    {"FaultType", "{\"faults\": [\n5]}", "faults[0]", 2, "must be an object"},
    {"FaultOfACamera", "{\"cameras\": [{\"faults\": [\n{\"type\": \"drop\"}]}]}",
     "cameras[0].faults[0]", 2, "at_frame or at_ms is missing"},
    {"NoType", "{\"faults\": [\n{\n}]}", "faults[0]", 2, "type is missing"},
    {"TypeType", "{\"faults\": [\n{\n\"type\": 3}]}", "faults[0].type", 3, "must be a text"},
    {"UnknownType", "{\"faults\": [{},\n{\n\"type\": \"x\"}]}", "faults[0]", 1, "type is missing"},
    {"UnknownTypeIsNamed", "{\"faults\": [{\n\"type\": \"unplugg\"}]}", "faults[0].type", 2,
     "no fault \"unplugg\"; there are unplug, plug, stall"},
    {"KeyOfAnotherType", "{\"faults\": [{\"type\": \"drop\", \"at_ms\": 1,\n\"bytes\": 4}]}",
     "faults[0].bytes", 2, "there are type, at_frame, at_ms, stream, count"},
    {"OpenByFrame", "{\"faults\": [{\"type\": \"open_fail\",\n\"at_frame\": 4}]}",
     "faults[0].at_frame", 2, "no such key"},
    {"PlugByFrame", "{\"faults\": [{\"type\": \"plug\",\n\"at_frame\": 4}]}", "faults[0].at_frame",
     2, "no such key"},
    {"PlugNever", "{\"faults\": [\n{\"type\": \"plug\"}]}", "faults[0]", 2,
     "at_ms or after_ms is missing"},
    {"TwoMoments", "{\"faults\": [\n{\"type\": \"drop\", \"at_frame\": 1, \"at_ms\": 1}]}",
     "faults[0]", 2, "only one of at_frame or at_ms"},
    {"AtFrameNegative", "{\"faults\": [{\"type\": \"drop\",\n\"at_frame\": -1}]}",
     "faults[0].at_frame", 2, "from 0 to 1000000000"},
    {"AtFrameText", "{\"faults\": [{\"type\": \"drop\",\n\"at_frame\": \"1\"}]}",
     "faults[0].at_frame", 2, "must be a whole number"},
    {"AtMsHigh", "{\"faults\": [{\"type\": \"drop\",\n\"at_ms\": 1000000001}]}", "faults[0].at_ms",
     2, "from 0 to 1000000000"},
    {"CountZero", "{\"faults\": [{\"type\": \"drop\", \"at_ms\": 1,\n\"count\": 0}]}",
     "faults[0].count", 2, "from 1 to 1000000000"},
    {"Duration", "{\"faults\": [{\"type\": \"stall\", \"at_ms\": 1,\n\"duration_ms\": 0}]}",
     "faults[0].duration_ms", 2, "from 1 to 1000000000"},
    {"Stream", "{\"faults\": [{\"type\": \"drop\", \"at_ms\": 1,\n\"stream\": \"colour\"}]}",
     "faults[0].stream", 2, "no stream \"colour\"; there are color, depth, ir, light-ir"},
    {"StreamOfATimedUnplug",
     "{\"faults\": [{\"type\": \"unplug\", \"at_ms\": 1,\n\"stream\": \"ir\"}]}",
     "faults[0].stream", 2, "only goes with at_frame"},
    {"As", "{\"faults\": [{\"type\": \"wrong_type\", \"at_ms\": 1,\n\"as\": 2}]}", "faults[0].as",
     2, "must be a text"},
    {"NoJump", "{\"faults\": [\n{\"type\": \"clock_jump\", \"at_ms\": 1}]}", "faults[0]", 2,
     "by_ms is missing"},
    {"JumpZero", "{\"faults\": [{\"type\": \"clock_jump\", \"at_ms\": 1,\n\"by_ms\": 0}]}",
     "faults[0].by_ms", 2, "must not be 0"},
    {"StatusZero", "{\"faults\": [{\"type\": \"open_fail\",\n\"status\": 0}]}", "faults[0].status",
     2, "must not be 0"},
    {"Attempt", "{\"faults\": [{\"type\": \"open_fail\",\n\"attempt\": 0}]}", "faults[0].attempt",
     2, "from 1 to"},
    {"BufferBytes", "{\"faults\": [{\"type\": \"buffer_size_change\",\n\"bytes\": 0}]}",
     "faults[0].bytes", 2, "from 1 to 16777216"},
};
INSTANTIATE_TEST_SUITE_P(Faults, BadScenarioTest, testing::ValuesIn(kFaults),
                         [](const auto &test) { return test.param.name; });

}  // namespace
}  // namespace nubrix::virtual_camera
