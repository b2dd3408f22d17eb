#include "tests/context/OperationTable.h"

#include "tests/fakes/VtableCall.h"

namespace nubrix {

namespace {

using Context = NubrixBaseContext;

constexpr const char *kNotInitialized = "3 not Initialized! ";
constexpr const char *kInvalidDevice = "3 Invalid Device!";
constexpr const char *kInvalidStream = "3 Stream Handle is Valid!";
constexpr const char *kInvalidRecorder = "3 Invalid Recorder Handler!";

const Outcome kRefused = {-2, NUBRIX_ERR_NOT_INITIALIZED, {kNotInitialized}};
const Outcome kNoDevice = {-3, NUBRIX_ERR_INVALID_DEVICE, {kInvalidDevice}};
const Outcome kNoStream = {-13, NUBRIX_ERR_INVALID_STREAM, {kInvalidStream}};
const Outcome kDone = {0, 0, {}};
const Outcome kNoRecorder = {-13, 0, {kInvalidRecorder}};
const Outcome kNoDriver = {-1, 0, {}};

// Where the operations write; nothing is looked at.
struct Results {
    typedefNubrixeviceAttribute *list;
    _NubrixGmslDeviceInfo *gmslList;
    const typedefNubrixFrameMode *modes;
    typedefNubrixFrameMode mode;
    NubrixVersions versions;
    NubrixDevice *device;
    NubrixStream *stream;
    NubrixRecord *recorder;
    typedefNubrixFrame *frame;
    unsigned char bytes[4];
    unsigned short depth[4];
    typedefNubrixPoint3D points[4];
    typedefNubrixRGBA colours[4];
    unsigned int count;
} g_out;

void onState(const char *, const char *, unsigned int, void *)
{
}

void addLifeCycle(std::vector<Operation> &table)
{
    table.push_back(
        {"initialize",
         [](Context &context, const Handles &) { return context.initialize(); },
         {0,
          0,
          {"4 Nubrix SDK  Initialize start", "1 ", "1 Nubrix SDK Version 2.0.182",
           "4 cur Driver Path = FOLDER/libNubrixUvcDriver.so", "4 Load uvc driver succeed!",
           "4 cur Driver Path = FOLDER/libNubrixNetDriver.so", "4 Load net driver succeed!",
           "4 Nubrix SDK  Initialize End"}}});
    table.push_back({"destroy",
                     [](Context &context, const Handles &) { return context.destroy(); },
                     {-2, NUBRIX_ERR_NOT_INITIALIZED, {"1 ", "1 ", kNotInitialized}}});
    table.push_back(
        {"setLogFileSavePath",
         [](Context &context, const Handles &) { return context.setLogFileSavePath(nullptr); },
         kDone});
}

Operation onDevice(const std::string &name, std::function<int(Context &, const Handles &)> call)
{
    return {name, std::move(call), kRefused, kNoDevice, {}, {}, true};
}

Operation onContext(const std::string &name, std::function<int(Context &, const Handles &)> call)
{
    return {name, std::move(call), kRefused, {}, {}, {}, true};
}

Operation onStream(const std::string &name, std::function<int(Context &, const Handles &)> call)
{
    return {name, std::move(call), kRefused, {}, kNoStream, {}, false};
}

Operation onRecorder(const std::string &name, std::function<int(Context &, const Handles &)> call)
{
    return {name, std::move(call), kRefused, {}, {}, kNoRecorder, true};
}

// An operation that answers the same wherever it is asked.
Operation always(const std::string &name, std::function<int(Context &, const Handles &)> call,
                 const Outcome &outcome)
{
    return {name, std::move(call), outcome, outcome, outcome, outcome, false};
}

void addDevices(std::vector<Operation> &table)
{
    table.push_back(onContext("setDeviceStateCallback", [](Context &context, const Handles &) {
        return context.setDeviceStateCallback(&onState, nullptr);
    }));
    table.push_back(onContext("nubrixGetDeviceList", [](Context &context, const Handles &) {
        return context.nubrixGetDeviceList(&g_out.list, &g_out.count);
    }));
    table.push_back(onContext("nubrixGetGmslDeviceList", [](Context &context, const Handles &) {
        return context.nubrixGetGmslDeviceList(&g_out.gmslList, &g_out.count);
    }));
    table.push_back(onContext("getDeviceAttributeByUri", [](Context &context, const Handles &) {
        return context.getDeviceAttributeByUri("usb:1") ? 1 : 0;
    }));
    table.back().uninitialized.status = 0;
    table.push_back(onContext("openDevice", [](Context &context, const Handles &) {
        return context.openDevice("usb:1", &g_out.device);
    }));
    table.push_back(onContext("openDevice2", [](Context &context, const Handles &) {
        return context.openDevice2(0x1209, 1, 3, "/dev/bus/usb/1/2", &g_out.device);
    }));
    table.push_back(always(
        "setDufDeviceFd",
        [](Context &context, const Handles &) { return context.setDufDeviceFd(1, 2, 3, "x"); },
        kDone));
    table.push_back(onDevice("closeDevice", [](Context &context, const Handles &handles) {
        return context.closeDevice(handles.device);
    }));
}

void addModes(std::vector<Operation> &table)
{
    table.push_back(onDevice("getSupportFrameMode", [](Context &context, const Handles &handles) {
        return context.getSupportFrameMode(handles.device, 1, &g_out.modes, &g_out.count);
    }));
    table.push_back(onDevice("setFrameMode", [](Context &context, const Handles &handles) {
        return context.setFrameMode(handles.device, 1, g_out.mode);
    }));
    table.push_back(onDevice("getCurrentFrameMode", [](Context &context, const Handles &handles) {
        return context.getCurrentFrameMode(handles.device, 1) ? 1 : 0;
    }));
    table.back().uninitialized.status = 0;
    table.back().unknownDevice->status = 0;
}

void addStreams(std::vector<Operation> &table)
{
    table.push_back(onDevice("openStream", [](Context &context, const Handles &handles) {
        return context.openStream(handles.device, 1, &g_out.stream, nullptr, nullptr);
    }));
    table.back().uninitialized.log = {"4 Start open color stream!", kNotInitialized,
                                      "3 Create stream failed"};
    table.back().unknownDevice->log = {"4 Start open color stream!", kInvalidDevice,
                                       "3 Create stream failed"};
    table.push_back(onStream("closeStream", [](Context &context, const Handles &handles) {
        return context.closeStream(handles.stream);
    }));
    table.back().uninitialized.log = {kNotInitialized, "4 Finish stop stream"};
    table.back().unknownStream->log = {kInvalidStream, "4 Finish stop stream"};
    table.push_back(onStream("waitForStreams", [](Context &context, const Handles &handles) {
        NubrixStream *streams[1] = {handles.stream};
        return context.waitForStreams(streams, 1, &g_out.stream, 0);
    }));
    table.push_back(onStream("readFrame", [](Context &context, const Handles &handles) {
        return context.readFrame(handles.stream, &g_out.frame, 0);
    }));
    table.push_back(
        {"releaseFrame",
         [](Context &context, const Handles &) { return context.releaseFrame(nullptr); },
         kRefused});
}

void addProperties(std::vector<Operation> &table)
{
    table.push_back(onDevice("setDeviceProperty", [](Context &context, const Handles &handles) {
        return context.setDeviceProperty(handles.device, 1, g_out.bytes, 4);
    }));
    table.push_back(onDevice("getDeviceProperty", [](Context &context, const Handles &handles) {
        return context.getDeviceProperty(handles.device, 1, g_out.bytes, &g_out.count);
    }));
    table.push_back(
        onDevice("propertyTranspraentTransmission", [](Context &context, const Handles &handles) {
            return context.propertyTranspraentTransmission(handles.device, g_out.bytes, 4,
                                                           g_out.bytes, &g_out.count);
        }));
    table.push_back(onDevice("setStreamFlagMode", [](Context &context, const Handles &handles) {
        return context.setStreamFlagMode(handles.device, 1);
    }));
}

void addRecorder(std::vector<Operation> &table)
{
    table.push_back(onContext("createRecorder", [](Context &context, const Handles &) {
        return context.createRecorder("/tmp", &g_out.recorder);
    }));
    table.push_back(
        onRecorder("recorderAttachStream", [](Context &context, const Handles &handles) {
            return context.recorderAttachStream(handles.recorder, handles.stream);
        }));
    table.push_back(onRecorder("recorderStart", [](Context &context, const Handles &handles) {
        return context.recorderStart(handles.recorder);
    }));
    table.push_back(onRecorder("recorderStop", [](Context &context, const Handles &handles) {
        return context.recorderStop(handles.recorder);
    }));
    table.push_back(onRecorder("destroyRecorder", [](Context &context, const Handles &handles) {
        return context.destroyRecorder(handles.recorder);
    }));
}

void addSettings(std::vector<Operation> &table)
{
    table.push_back(
        onDevice("setTemperatureParamsFilePath", [](Context &context, const Handles &handles) {
            return context.setTemperatureParamsFilePath(handles.device, "/tmp/t");
        }));
    table.push_back(always(
        "setLogLevel", [](Context &context, const Handles &) { return context.setLogLevel(3); },
        kDone));
    table.push_back(always(
        "setLogFolder",
        [](Context &context, const Handles &) { return context.setLogFolder("/tmp"); }, kDone));
    table.push_back(onDevice("getVersion", [](Context &context, const Handles &handles) {
        return context.getVersion(handles.device, &g_out.versions);
    }));
    table.push_back(always("setErrorCode",
                           [](Context &context, const Handles &) {
                               context.setErrorCode(NUBRIX_ERR_NO_FRAME);
                               return 0;
                           },
                           {0, NUBRIX_ERR_NO_FRAME, {}}));
    table.push_back(always(
        "logInfo",
        [](Context &context, const Handles &) { return context.logInfo(NUBRIX_LOG_ERROR, "x"); },
        kDone));
    table.push_back(onContext(
        "takePhoto", [](Context &context, const Handles &) { return context.takePhoto("/tmp"); }));
}

void addPointClouds(std::vector<Operation> &table)
{
    table.push_back(always(
        "convertDepthToPointCloud",
        [](Context &context, const Handles &) {
            return context.convertDepthToPointCloud(g_out.depth, 2, 2, 1, 1, 1, 1, 1, g_out.points,
                                                    1, false);
        },
        kDone));
    table.push_back(
        onDevice("convertDepthToPointCloud2", [](Context &context, const Handles &handles) {
            return context.convertDepthToPointCloud2(handles.device, g_out.depth, 2, 2, 1, 1, 1, 1,
                                                     1, g_out.points, 1, false);
        }));
    // The line comes with the first call; each test has a library of its own.
    table.push_back({"convertDepthToPointCloudWithRGBA",
                     [](Context &context, const Handles &) {
                         return context.convertDepthToPointCloudWithRGBA(g_out.depth, 2, 2, 1, 1, 1,
                                                                         1, 1, g_out.points,
                                                                         g_out.colours, 1, false);
                     },
                     {0, 0, {"4 creat color bar succed!"}}});
}

void addUpgrades(std::vector<Operation> &table)
{
    // Needs no initialize: whatever the state, the device is unknown.
    table.push_back({"deviceStartUpgradeOffLine",
                     [](Context &context, const Handles &handles) {
                         return context.deviceStartUpgradeOffLine(handles.device, nullptr, "/tmp");
                     },
                     kNoDevice,
                     kNoDevice,
                     {},
                     {},
                     true});
    table.push_back(always(
        "setDeviceStatusChange",
        [](Context &context, const Handles &) {
            return context.setDeviceStatusChange(1, 2, "x", 3);
        },
        kDone));
}

// The last two of the public interface, and the four behind it by their place.
void addRest(std::vector<Operation> &table)
{
    table.push_back(onStream("setStreamCallback", [](Context &context, const Handles &handles) {
        return context.setStreamCallback(handles.stream, nullptr, nullptr);
    }));
    table.push_back(
        {"setGmslI2CStats",
         [](Context &context, const Handles &) { return context.setGmslI2CStats(true); },
         kNoDriver});
    table.push_back(
        {"setGmslI2CAddress",
         [](Context &context, const Handles &) { return context.setGmslI2CAddress("0x36"); },
         kNoDriver});
    table.push_back(onDevice("createStream", [](Context &context, const Handles &handles) {
        return callSlot<int, NubrixDevice *, unsigned int, NubrixStream **>(
            &context, 45, handles.device, 1, &g_out.stream);
    }));
    table.push_back(onStream("destroyStream", [](Context &context, const Handles &handles) {
        return callSlot<int, NubrixStream *>(&context, 46, handles.stream);
    }));
    table.push_back(onStream("startStream", [](Context &context, const Handles &handles) {
        return callSlot<int, NubrixStream *>(&context, 47, handles.stream);
    }));
    table.back().uninitialized.log = {"1 ", kNotInitialized};
    table.back().unknownStream->log = {"1 ", kInvalidStream};
    table.push_back(onStream("stopStream", [](Context &context, const Handles &handles) {
        return callSlot<int, NubrixStream *>(&context, 48, handles.stream);
    }));
}

}  // namespace

std::vector<Operation> operationTable()
{
    std::vector<Operation> table;
    addLifeCycle(table);
    addDevices(table);
    addModes(table);
    addStreams(table);
    addProperties(table);
    addRecorder(table);
    addSettings(table);
    addPointClouds(table);
    addUpgrades(table);
    addRest(table);
    return table;
}

}  // namespace nubrix
