#include "CameraDescription.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <stdexcept>

namespace nubrix::simulator {

namespace {

struct PixelFormatName {
    unsigned int code;
    const char *name;
};

constexpr PixelFormatName kPixelFormats[] = {
    {0x01080001, "Mono8"},      {0x01100003, "Mono10"},   {0x01100005, "Mono12"},
    {0x01100007, "Mono16"},     {0x01080008, "BayerGR8"}, {0x01080009, "BayerRG8"},
    {0x0108000a, "BayerGB8"},   {0x0108000b, "BayerBG8"}, {0x02180014, "RGB8"},
    {0x02180015, "BGR8"},       {0x02100032, "YUV422_8"}, {0x0210001f, "YUV422_8_UYVY"},
    {0x011000b8, "Coord3D_C16"}};

std::string hexOf(unsigned int value)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", value);
    return text;
}

std::string element(const std::string &name, const std::string &value)
{
    return "<" + name + ">" + value + "</" + name + ">";
}

std::string node(const std::string &kind, const std::string &name, const std::string &content)
{
    return "<" + kind + " Name=\"" + name + "\">" + content + "</" + kind + ">\n";
}

std::string category(const std::string &name, const std::vector<std::string> &features)
{
    std::string content;
    for (const std::string &feature : features)
        content += element("pFeature", feature);
    return node("Category", name, content);
}

std::string place(unsigned int address, unsigned int length, const char *access)
{
    return element("Address", hexOf(address)) + element("Length", std::to_string(length)) +
           element("AccessMode", access) + element("pPort", "Device");
}

std::string text(const char *name, unsigned int address, unsigned int length, const char *access)
{
    return node("StringReg", name, place(address, length, access));
}

std::string number(const std::string &name, unsigned int address, const char *access)
{
    return node("IntReg", name,
                place(address, 4, access) + element("Sign", "Unsigned") +
                    element("Endianess", "BigEndian"));
}

/// An integer feature with a register of its own; `limits` are elements.
std::string integer(const std::string &name, unsigned int address, const char *access,
                    const std::string &limits = "")
{
    return node("Integer", name, element("pValue", name + "Reg") + limits) +
           number(name + "Reg", address, access);
}

std::string real(const char *name, unsigned int address, const std::string &index = "")
{
    return node("FloatReg", name,
                place(address, 4, "RO") + index + element("Endianess", "BigEndian"));
}

/// One of three values, that of the selected coordinate.
std::string realOfCoordinate(const char *name, unsigned int address)
{
    return real(name, address, "<pIndex Offset=\"4\">CoordinateReg</pIndex>");
}

std::string command(const char *name, const std::string &reg, unsigned int value)
{
    return node("Command", name,
                element("pValue", reg) + element("CommandValue", std::to_string(value)));
}

std::string entry(const std::string &name, const std::string &value)
{
    return "<EnumEntry Name=\"" + name + "\">" + element("Value", value) + "</EnumEntry>";
}

std::string identity()
{
    return category("DeviceControl", {"DeviceVendorName", "DeviceModelName", "DeviceVersion",
                                      "DeviceSerialNumber", "DeviceUserID", "DeviceReset"}) +
           text("DeviceVendorName", 0x48, 32, "RO") + text("DeviceModelName", 0x68, 32, "RO") +
           text("DeviceVersion", 0x88, 32, "RO") + text("DeviceSerialNumber", 0xd8, 16, "RO") +
           text("DeviceUserID", 0xe8, 16, "RW") + command("DeviceReset", "ResetReg", 1) +
           number("ResetReg", kRegisterReset, "RW");
}

std::string image(const SimulatedCameraSettings &settings)
{
    const auto limits = [](unsigned int smallest, const char *largest) {
        return element("Min", std::to_string(smallest)) + element("pMax", largest) +
               element("Inc", "2");
    };
    std::string formats;
    for (const unsigned int code : settings.formats) {
        const std::string name = genicamFormatName(code);
        if (name.empty())
            throw std::runtime_error("a simulated camera has no pixel format " + hexOf(code));
        formats += entry(name, hexOf(code));
    }
    return category("ImageFormatControl", {"SensorWidth", "SensorHeight", "OffsetX", "OffsetY",
                                           "Width", "Height", "PixelFormat"}) +
           integer("SensorWidth", 0x11c, "RO") + integer("SensorHeight", 0x118, "RO") +
           integer("OffsetX", 0x130, "RW", limits(0, "SensorWidth")) +
           integer("OffsetY", 0x134, "RW", limits(0, "SensorHeight")) +
           integer("Width", 0x100, "RW", limits(settings.smallestWidth, "SensorWidth")) +
           integer("Height", 0x104, "RW", limits(settings.smallestHeight, "SensorHeight")) +
           node("Enumeration", "PixelFormat", formats + element("pValue", "PixelFormatReg")) +
           number("PixelFormatReg", 0x128, "RW");
}

std::string acquisition()
{
    return category("AcquisitionControl", {"AcquisitionMode", "AcquisitionStart", "AcquisitionStop",
                                           "AcquisitionFrameRate", "ExposureTime", "TriggerMode",
                                           "TriggerSource", "TriggerSoftware"}) +
           node("Enumeration", "AcquisitionMode",
                entry("Continuous", "1") + entry("SingleFrame", "2") +
                    element("pValue", "AcquisitionModeReg")) +
           number("AcquisitionModeReg", 0x12c, "RW") +
           command("AcquisitionStart", "AcquisitionReg", 1) +
           command("AcquisitionStop", "AcquisitionReg", 0) + number("AcquisitionReg", 0x124, "RW") +
           node("Converter", "AcquisitionFrameRate",
                element("FormulaTo", "(1000000 / FROM)") +
                    element("FormulaFrom", "(1000000 / TO)") + element("pValue", "FramePeriod")) +
           integer("FramePeriod", 0x138, "RW",
                   element("Min", "1000") + element("Max", "10000000")) +
           node("Converter", "ExposureTime",
                element("FormulaTo", "FROM") + element("FormulaFrom", "TO") +
                    element("pValue", "Exposure")) +
           integer("Exposure", 0x120, "RW", element("Min", "10") + element("Max", "10000000")) +
           node("Enumeration", "TriggerMode",
                entry("Off", "0") + entry("On", "1") + element("pValue", "TriggerModeReg")) +
           number("TriggerModeReg", 0x300, "RW") +
           node("Enumeration", "TriggerSource",
                entry("Line1", "0") + entry("Software", "1") +
                    element("pValue", "TriggerSourceReg")) +
           number("TriggerSourceReg", 0x304, "RW") +
           command("TriggerSoftware", "TriggerSoftwareReg", 1) +
           number("TriggerSoftwareReg", 0x30c, "RW");
}

std::string geometry()
{
    return category("Scan3dControl",
                    {"Scan3dOutputMode", "Scan3dDistanceUnit", "Scan3dFocalLength",
                     "Scan3dPrincipalPointU", "Scan3dPrincipalPointV", "Scan3dBaseline",
                     "Scan3dCoordinateSelector", "Scan3dCoordinateScale", "Scan3dCoordinateOffset",
                     "Scan3dInvalidDataValue"}) +
           node("Enumeration", "Scan3dOutputMode",
                entry("CalibratedC", "0") + element("Value", "0")) +
           node("Enumeration", "Scan3dDistanceUnit",
                entry("Millimeter", "0") + element("Value", "0")) +
           node("Enumeration", "Scan3dCoordinateSelector",
                entry("CoordinateA", "0") + entry("CoordinateB", "1") + entry("CoordinateC", "2") +
                    element("pValue", "CoordinateReg")) +
           number("CoordinateReg", kRegisterCoordinate, "RW") +
           real("Scan3dFocalLength", kRegisterFocalLength) +
           real("Scan3dPrincipalPointU", kRegisterPrincipalU) +
           real("Scan3dPrincipalPointV", kRegisterPrincipalV) +
           real("Scan3dBaseline", kRegisterBaseline) +
           realOfCoordinate("Scan3dCoordinateScale", kRegisterCoordinateScale) +
           realOfCoordinate("Scan3dCoordinateOffset", kRegisterCoordinateOffset) +
           realOfCoordinate("Scan3dInvalidDataValue", kRegisterInvalidValue);
}

std::string transport()
{
    const auto variable = [](const char *name, const char *feature) {
        return std::string("<pVariable Name=\"") + name + "\">" + feature + "</pVariable>";
    };
    return category("TransportLayerControl", {"PayloadSize", "TLParamsLocked"}) +
           node("IntSwissKnife", "PayloadSize",
                variable("W", "Width") + variable("H", "Height") + variable("P", "PixelFormatReg") +
                    element("Formula", "W * H * ((P &gt;&gt; 16) &amp; 0xff) / 8")) +
           node("Integer", "TLParamsLocked",
                element("Value", "0") + element("Min", "0") + element("Max", "1"));
}

}  // namespace

std::string genicamFormatName(unsigned int code)
{
    const auto *found = std::find_if(std::begin(kPixelFormats), std::end(kPixelFormats),
                                     [&](const PixelFormatName &row) { return row.code == code; });
    return found == std::end(kPixelFormats) ? "" : found->name;
}

std::string describeCamera(const SimulatedCameraSettings &settings)
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<RegisterDescription ModelName=\"SimulatedCamera\" VendorName=\"Nubrix\""
           " StandardNameSpace=\"None\" SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\""
           " SchemaSubMinorVersion=\"0\" MajorVersion=\"1\" MinorVersion=\"0\""
           " SubMinorVersion=\"0\" ProductGuid=\"0\" VersionGuid=\"0\""
           " xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">\n" +
           category("Root", {"DeviceControl", "ImageFormatControl", "AcquisitionControl",
                             "Scan3dControl", "TransportLayerControl"}) +
           identity() + image(settings) + acquisition() + geometry() + transport() +
           "<Port Name=\"Device\"/>\n</RegisterDescription>\n";
}

}  // namespace nubrix::simulator
