// Any bytes at all as what cameras send on the control channel: answers, identities, where a
// description lies, and archives of descriptions.
#include <algorithm>
#include <string>
#include <string_view>

#include "net/Genicam.h"
#include "net/Gvcp.h"
#include "tests/fuzz/FuzzTarget.h"

namespace nubrix::net {
namespace {

bool isOneLine(const std::string &text)
{
    return std::none_of(text.begin(), text.end(),
                        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; });
}

void checkIdentity(const Packet &packet, std::uint16_t id)
{
    const auto camera = identityIn(packet, id);
    if (!camera)
        return;
    require(packet.size() >= 8 + 0xf8, "an identity is complete");
    require(!addressInUri(camera->uri()).empty(), "a camera is at an address");
    require(camera->mac.size() == 17, "a MAC has six numbers");
    require(
        camera->vendor.size() <= 32 && camera->model.size() <= 32 && camera->serial.size() <= 16,
        "texts end with their field");
    require(isOneLine(camera->vendor) && isOneLine(camera->model) && isOneLine(camera->serial),
            "texts are one line");
    require(!identityIn(packet, static_cast<std::uint16_t>(id + 1)),
            "an answer to another request is no identity");
}

void checkAnswers(const Packet &packet, std::uint16_t id)
{
    const unsigned int acknowledged =
        packet.size() < 4 ? 0U : static_cast<unsigned int>(packet[2] << 8U | packet[3]);
    if (acknowledged == 0)  // of no command
        return;
    const auto command = static_cast<std::uint16_t>(acknowledged - 1);
    const auto answer = answerIn(packet, command, id);
    const auto reply = registerReplyIn(packet, command, id);
    require(answer.has_value() == reply.has_value(), "a reply is an answer");
    require(answer.has_value() == (packet.size() >= 8), "an answer has a header");
    if (!answer)
        return;
    require(answer->content.size() + 8 == packet.size(), "the content is what follows");
    require(!reply->isGranted || (answer->status == 0 && answer->content.size() >= 4),
            "what is granted has a value");
    require(!reply->isGranted || reply->value == wordAt(answer->content, 0), "the value is first");
    const auto delay = delayIn(packet, id);
    require(!delay || delay->count() <= 0xffff, "a delay has a limit");
}

void checkDescription(const std::string &text)
{
    const auto description = parseLocation(text);
    if (!description)
        return;
    require(description->size >= 1 && description->size <= kLargestDescription,
            "a description has a limit");
    require(description->address <= 0xffffffffU - description->size, "it lies in the memory");
}

void checkArchive(const std::uint8_t *data, std::size_t size)
{
    const std::string_view all(reinterpret_cast<const char *>(data), size);
    if (isDescriptionTooLarge(data, size))
        require(all.substr(0, 4) == std::string_view("PK\3\4", 4), "only archives grow");
}

void checkRequest(const std::uint8_t *data, std::size_t size)
{
    if (const auto request = parseFeatureRequest(data, size))
        require(4 + request->name.size() + request->value.size() == size && !request->name.empty(),
                "a request is all of its bytes");
}

}  // namespace
}  // namespace nubrix::net

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t sizeBytes)
{
    using namespace nubrix::net;
    const Packet packet(data, data + sizeBytes);
    const auto id = static_cast<std::uint16_t>(sizeBytes < 8 ? 1 : packet[6] << 8U | packet[7]);
    checkIdentity(packet, id);
    checkAnswers(packet, id);
    checkDescription(std::string(reinterpret_cast<const char *>(data), sizeBytes));
    checkArchive(data, sizeBytes);
    checkRequest(data, sizeBytes);
    return 0;
}
