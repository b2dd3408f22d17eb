#include "net/Gvcp.h"

#include <gmock/gmock.h>

#include <algorithm>

namespace nubrix::net {
namespace {

using testing::ElementsAre;

constexpr std::uint16_t kId = 0x1234;

/// A valid answer to a discovery request.
Packet identity()
{
    Packet packet(8 + 0xf8);
    packet[3] = 3;
    packet[5] = 0xf8;
    packet[6] = 0x12;
    packet[7] = 0x34;
    const auto put = [&](std::size_t place, const std::string &text) {
        std::copy(text.begin(), text.end(),
                  packet.begin() + static_cast<std::ptrdiff_t>(8 + place));
    };
    put(0x0a, "\x02\x11\x22\x33\x44\xff");
    put(0x24, "\x0a\x01\x07\x14");
    put(0x48, "Maker");
    put(0x68, "Model");
    put(0xd8, "SN1");
    return packet;
}

TEST(GvcpTest, ARequestHasCommandIdAndRegister)
{
    EXPECT_THAT(makeRequest(kDiscovery, 0xffff), ElementsAre(0x42, 1, 0, 2, 0, 0, 0xff, 0xff));
    EXPECT_THAT(makeRequest(kReadRegister, kId, {0x0a00}),
                ElementsAre(0x42, 1, 0, 0x80, 0, 4, 0x12, 0x34, 0, 0, 0x0a, 0));
}

TEST(GvcpTest, AnIdentityHasTheTextsOfTheCamera)
{
    const auto camera = identityIn(identity(), kId);
    ASSERT_TRUE(camera);
    EXPECT_EQ(camera->address, "10.1.7.20");
    EXPECT_EQ(camera->mac, "02:11:22:33:44:ff");
    EXPECT_EQ(camera->vendor, "Maker");
    EXPECT_EQ(camera->model, "Model");
    EXPECT_EQ(camera->serial, "SN1");
}

TEST(GvcpTest, TextsWithoutATerminatorEndWithTheirField)
{
    Packet packet = identity();
    std::fill(packet.begin() + 8 + 0x48, packet.end(), 'x');
    const auto camera = identityIn(packet, kId);
    ASSERT_TRUE(camera);
    EXPECT_EQ(camera->vendor, std::string(32, 'x'));
    EXPECT_EQ(camera->model, std::string(32, 'x'));
    EXPECT_EQ(camera->serial, std::string(16, 'x'));
}

TEST(GvcpTest, ControlCharactersAreReplaced)
{
    Packet packet = identity();
    const std::string text = "\x1b[2J\n\x7f\xc3\xa9\xc2\x9b\x9b\xed\xa0";
    std::copy(text.begin(), text.end(), packet.begin() + 8 + 0xd8);
    const auto camera = identityIn(packet, kId);
    ASSERT_TRUE(camera);
    EXPECT_EQ(camera->serial, "?[2J??\xc3\xa9????");
}

TEST(GvcpTest, ATruncatedIdentityIsRejected)
{
    const Packet complete = identity();
    for (std::size_t size = 0; size < complete.size(); ++size)
        EXPECT_FALSE(identityIn(Packet(complete.data(), complete.data() + size), kId)) << size;
    Packet more = complete;
    more.resize(600);
    EXPECT_TRUE(identityIn(more, kId));
}

TEST(GvcpTest, AnAnswerToAnotherRequestIsNoIdentity)
{
    for (const std::size_t offset : {0, 1, 2, 3, 6, 7}) {  // status, command, id
        Packet packet = identity();
        packet[offset] = static_cast<std::uint8_t>(packet[offset] + 1);
        EXPECT_FALSE(identityIn(packet, kId)) << offset;
    }
}

TEST(GvcpTest, ARegisterReplyHasItsValueOrIsARefusal)
{
    const Packet packet = {0, 0, 0, 0x81, 0, 4, 0x12, 0x34, 1, 2, 3, 4};
    const auto reply = registerReplyIn(packet, kReadRegister, kId);
    ASSERT_TRUE(reply);
    EXPECT_TRUE(reply->isGranted);
    EXPECT_EQ(reply->value, 0x01020304U);
    const Packet refused = {0x80, 3, 0, 0x81, 0, 0, 0x12, 0x34};
    ASSERT_TRUE(registerReplyIn(refused, kReadRegister, kId));
    EXPECT_FALSE(registerReplyIn(refused, kReadRegister, kId)->isGranted);
}

TEST(GvcpTest, AReplyToAnotherRequestOrATruncatedOneIsRejected)
{
    const Packet packet = {0, 0, 0, 0x81, 0, 4, 0x12, 0x34, 1, 2, 3, 4};
    EXPECT_FALSE(registerReplyIn(packet, kReadRegister, kId + 1));  // of the request before
    EXPECT_FALSE(registerReplyIn(packet, kWriteRegister, kId));
    for (std::size_t size = 0; size < 8; ++size)
        EXPECT_FALSE(
            registerReplyIn(Packet(packet.data(), packet.data() + size), kReadRegister, kId));
    // A value with missing bytes is not a value.
    const auto cut = registerReplyIn(Packet(packet.data(), packet.data() + 11), kReadRegister, kId);
    ASSERT_TRUE(cut);
    EXPECT_FALSE(cut->isGranted);
}

}  // namespace
}  // namespace nubrix::net
