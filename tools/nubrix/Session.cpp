#include "Session.h"

#include "Failure.h"
#include "common/Text.h"

namespace nubrix::tool {

namespace {

CameraInfo infoOf(const typedefNubrixeviceAttribute &record)
{
    CameraInfo info;
    info.uri = fieldText(record.uri);
    info.serialNumber = fieldText(record.serialNumber);
    info.productName = fieldText(record.productName);
    info.location = fieldText(record.location);
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
        // destroy() also unloads the plug-ins that were loaded before one failed.
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

}  // namespace nubrix::tool
