#include "tests/stress/StressCallbacks.h"
#include "tests/stress/StressHandles.h"
#include "tests/stress/StressTable.h"

namespace nubrix::stress {

namespace {

using Context = NubrixBaseContext;

void addLifeCycle(std::vector<Operation> &table)
{
    table.push_back({"initialize", 2, {0}, {0}, [](Context *context, Caller &caller) {
                         World &world = caller.world;
                         if (caller.origin != Origin::kThread)
                             return context->initialize();
                         if (!world.initializeDoor.tryEnter())
                             return kSkipped;
                         world.life.begin();
                         const int status = context->initialize();
                         world.life.end(LifeState::State::kInitialized);
                         world.initializeDoor.leave();
                         return status;
                     }});
    table.push_back({"destroy", 1, {0, -2}, {-2}, [](Context *context, Caller &caller) {
                         if (caller.origin != Origin::kThread)
                             return context->destroy();
                         const LifeState::State before = caller.world.life.begin();
                         const int status = context->destroy();
                         const bool alone = caller.world.life.end(LifeState::State::kUninitialized);
                         if (alone && before == LifeState::State::kInitialized && status != 0)
                             caller.world.violation("destroy of an initialized context fails");
                         return status;
                     }});
    table.push_back(
        {"setDeviceStateCallback", 4, {0}, kRefused, [](Context *context, Caller &caller) {
             return context->setDeviceStateCallback(&onState, &caller.world);
         }});
}

void addDevices(std::vector<Operation> &table)
{
    table.push_back({"nubrixGetDeviceList", 4, {0}, kRefused, [](Context *context, Caller &) {
                         typedefNubrixeviceAttribute *list = nullptr;
                         unsigned int count = 0;
                         return context->nubrixGetDeviceList(&list, &count);
                     }});
    table.push_back({"nubrixGetGmslDeviceList", 2, {0}, kRefused, [](Context *context, Caller &) {
                         _NubrixGmslDeviceInfo *list = nullptr;
                         unsigned int count = 0;
                         return context->nubrixGetGmslDeviceList(&list, &count);
                     }});
    table.push_back({"getDeviceAttributeByUri", 4, kNothingElse, kNothingElse,
                     [](Context *context, Caller &caller) {
                         const World &world = caller.world;
                         context->getDeviceAttributeByUri(
                             world.uris[caller.random.below(world.uris.size())].c_str());
                         return 0;
                     }});
    table.push_back({"openDevice",
                     14,
                     {0, -2, -4, -9, kOpenFault},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         World &world = caller.world;
                         NubrixDevice *opened = nullptr;
                         const bool first = caller.random.chance(10);
                         const std::string &uri =
                             world.uris[caller.random.below(world.uris.size())];
                         const int status =
                             context->openDevice(first ? nullptr : uri.c_str(), &opened);
                         if (opened)
                             world.devices.add(opened);
                         return status;
                     }});
    table.push_back({"openDevice2",
                     4,
                     {0, -1, -2, -4, -9, kOpenFault},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         World &world = caller.world;
                         NubrixDevice *opened = nullptr;
                         const std::string &uri =
                             world.uris[caller.random.below(world.uris.size())];
                         const unsigned int product = caller.random.chance(90) ? 1 : 0xfffe;
                         const int status =
                             context->openDevice2(0x1209, product, 0, uri.c_str(), &opened);
                         if (opened)
                             world.devices.add(opened);
                         return status;
                     }});
    table.push_back({"closeDevice", 5, {0, -3}, kRefused, [](Context *context, Caller &caller) {
                         NubrixDevice *const handle = deviceToClose(caller);
                         const int status = context->closeDevice(handle);
                         if (status == 0) {
                             caller.world.devices.retire(
                                 [&](NubrixDevice *each) { return each == handle; });
                         }
                         return status;
                     }});
}

void addModesAndProperties(std::vector<Operation> &table)
{
    table.push_back(
        {"getSupportFrameMode", 3, {0, -3, -4, -9}, kRefused, [](Context *context, Caller &caller) {
             const typedefNubrixFrameMode *modes = nullptr;
             unsigned int count = 0;
             return context->getSupportFrameMode(device(caller), caller.random.oneOf({1U, 2U, 4U}),
                                                 &modes, &count);
         }});
    table.push_back(
        {"setFrameMode", 3, {0, -2, -3, -4, -9}, kRefused, [](Context *context, Caller &caller) {
             typedefNubrixFrameMode mode = {NUBRIX_PIXEL_RGB888, 16, 12, 100};
             return context->setFrameMode(device(caller), caller.random.oneOf({1U, 2U}), mode);
         }});
    table.push_back({"getCurrentFrameMode", 3, kNothingElse, kNothingElse,
                     [](Context *context, Caller &caller) {
                         context->getCurrentFrameMode(device(caller), 1);
                         return 0;
                     }});
    table.push_back({"setDeviceProperty",
                     3,
                     {0, -3, -4, -8, -9},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         const unsigned int value = 2;
                         return context->setDeviceProperty(
                             device(caller), caller.random.oneOf({72U, 75U, 3U}), &value, 4);
                     }});
    table.push_back({"getDeviceProperty",
                     3,
                     {0, -3, -4, -8, -9},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         unsigned char value[82];
                         unsigned int size = caller.random.oneOf({4U, 82U});
                         return context->getDeviceProperty(
                             device(caller), caller.random.oneOf({72U, 75U, 3U}), value, &size);
                     }});
    table.push_back({"propertyTranspraentTransmission",
                     2,
                     {-1, -3, -8, -9},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         unsigned char bytes[4] = {};
                         unsigned int size = 4;
                         return context->propertyTranspraentTransmission(device(caller), bytes, 4,
                                                                         bytes, &size);
                     }});
    table.push_back(
        {"setStreamFlagMode", 2, {0, -1, -3, -9}, {-1, -2}, [](Context *context, Caller &caller) {
             return context->setStreamFlagMode(device(caller),
                                               static_cast<unsigned int>(caller.random.below(6)));
         }});
    table.push_back({"getVersion", 3, {0, -3, -9}, kRefused, [](Context *context, Caller &caller) {
                         NubrixVersions versions;
                         return context->getVersion(device(caller), &versions);
                     }});
    table.push_back({"setTemperatureParamsFilePath",
                     1,
                     {0, -1, -3, -8, -9},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         return context->setTemperatureParamsFilePath(device(caller), "/nowhere");
                     }});
    table.push_back({"convertDepthToPointCloud2",
                     2,
                     {0, -1, -3, -8, -9},
                     kRefused,
                     [](Context *context, Caller &caller) {
                         const unsigned short depth[4] = {};
                         typedefNubrixPoint3D points[4];
                         return context->convertDepthToPointCloud2(
                             device(caller), depth, 2, 2, 1000, 1, 1, 1, 1, points, 1, true);
                     }});
}

void addUpgrades(std::vector<Operation> &table)
{
    const std::vector<int> started = {0, -1, -2, -3, -4, -9};
    table.push_back(
        {"deviceStartUpgradeOffLine", 2, started, {-3}, [](Context *context, Caller &caller) {
             const typedefNubrixUpgradeCallbacks callbacks = {&onProgress, &onFinished,
                                                              &caller.world};
             return context->deviceStartUpgradeOffLine(device(caller), &callbacks,
                                                       caller.world.firmware.c_str());
         }});
    table.push_back(
        {"setDufDeviceFd", 1, kNothingElse, kNothingElse,
         [](Context *context, Caller &) { return context->setDufDeviceFd(1, 2, 3, "x"); }});
    table.push_back(
        {"setDeviceStatusChange", 1, kNothingElse, kNothingElse,
         [](Context *context, Caller &) { return context->setDeviceStatusChange(1, 2, "x", 3); }});
    table.push_back({"setGmslI2CStats", 1, {0, -1}, {0, -1}, [](Context *context, Caller &caller) {
                         return context->setGmslI2CStats(caller.random.chance(50));
                     }});
    table.push_back({"setGmslI2CAddress", 1, {0, -1}, {0, -1}, [](Context *context, Caller &) {
                         return context->setGmslI2CAddress("0x10");
                     }});
}

void addTheRest(std::vector<Operation> &table)
{
    table.push_back({"setLogLevel", 1, kNothingElse, kNothingElse,
                     [](Context *context, Caller &) { return context->setLogLevel(3); }});
    table.push_back({"logInfo", 1, kNothingElse, kNothingElse, [](Context *context, Caller &) {
                         return context->logInfo(NUBRIX_LOG_INFO, "%d", 1);
                     }});
    table.push_back({"setErrorCode", 1, kNothingElse, kNothingElse, [](Context *context, Caller &) {
                         context->setErrorCode(NUBRIX_ERR_NO_FRAME);
                         return 0;
                     }});
    table.push_back(
        {"convertDepthToPointCloud", 1, kNothingElse, kNothingElse, [](Context *context, Caller &) {
             const unsigned short depth[4] = {};
             typedefNubrixPoint3D points[4];
             return context->convertDepthToPointCloud(depth, 2, 2, 1000, 1, 1, 1, 1, points, 1,
                                                      true);
         }});
}

}  // namespace

void addContextOperations(std::vector<Operation> &table)
{
    addLifeCycle(table);
    addDevices(table);
    addModesAndProperties(table);
    addUpgrades(table);
    addTheRest(table);
}

}  // namespace nubrix::stress
