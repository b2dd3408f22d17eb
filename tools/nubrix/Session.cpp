#include "Session.h"

#include <algorithm>

#include "Failure.h"

namespace nubrix {

namespace {

/// A text of a record, which need not be terminated, without what would upset a terminal.
template <std::size_t Size>
std::string textOf(const char (&field)[Size])
{
    std::string text(field, std::find(field, field + Size, '\0'));
    std::replace_if(
        text.begin(), text.end(),
        [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }, '?');
    return text;
}

CameraInfo infoOf(const typedefNubrixeviceAttribute &record)
{
    CameraInfo info;
    info.uri = textOf(record.uri);
    info.serialNumber = textOf(record.serialNumber);
    info.productName = textOf(record.productName);
    info.location = textOf(record.location);
    info.vendorId = record.vendorId;
    info.productId = record.productId;
    info.transport = record.transport;
    info.state = record.deviceState;
    return info;
}

}  // namespace

Session::Session() : m_context(ContextFactory())
{
    try {
        require("initialize", [this] { return m_context->initialize(); });
    } catch (...) {
        // Also closes the plug-ins that were loaded before one failed.
        m_context->destroy();
        deleteContext(m_context);
        throw;
    }
}

Session::~Session()
{
    m_context->destroy();
    deleteContext(m_context);
}

std::vector<CameraInfo> Session::cameras()
{
    typedefNubrixeviceAttribute *records = nullptr;
    unsigned int count = 0;
    require("nubrixGetDeviceList",
            [&] { return m_context->nubrixGetDeviceList(&records, &count); });
    std::vector<CameraInfo> cameras;
    for (unsigned int i = 0; i < count; ++i)
        cameras.push_back(infoOf(records[i]));
    return cameras;
}

}  // namespace nubrix
