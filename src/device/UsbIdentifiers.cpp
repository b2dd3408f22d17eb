#include "device/UsbIdentifiers.h"

namespace nubrix {

const std::array<UsbIdentifier, 41> kUsbIdentifiers = {{
    // Our own; the first is the virtual camera's.
    {0x1209, 0x0001, DRIVER_TYPE_UVC},
    {0x1209, 0x0002, DRIVER_TYPE_NET},
    {0x1209, 0x0003, DRIVER_TYPE_MINI},
    // Depth cameras with video class streams.
    {0x8086, 0x0a66, DRIVER_TYPE_UVC},
    {0x8086, 0x0aa5, DRIVER_TYPE_UVC},
    {0x8086, 0x0ad1, DRIVER_TYPE_UVC},
    {0x8086, 0x0ad2, DRIVER_TYPE_UVC},
    {0x8086, 0x0ad3, DRIVER_TYPE_UVC},
    {0x8086, 0x0ad4, DRIVER_TYPE_UVC},
    {0x8086, 0x0ad5, DRIVER_TYPE_UVC},
    {0x8086, 0x0af6, DRIVER_TYPE_UVC},
    {0x8086, 0x0b03, DRIVER_TYPE_UVC},
    {0x8086, 0x0b07, DRIVER_TYPE_UVC},
    {0x8086, 0x0b3a, DRIVER_TYPE_UVC},
    {0x8086, 0x0b48, DRIVER_TYPE_UVC},
    {0x8086, 0x0b4b, DRIVER_TYPE_UVC},
    {0x8086, 0x0b5b, DRIVER_TYPE_UVC},
    {0x8086, 0x0b5c, DRIVER_TYPE_UVC},
    {0x8086, 0x0b64, DRIVER_TYPE_UVC},
    {0x8086, 0x1155, DRIVER_TYPE_UVC},
    {0x041e, 0x4099, DRIVER_TYPE_UVC},
    {0x2b03, 0xf580, DRIVER_TYPE_UVC},
    {0x2b03, 0xf582, DRIVER_TYPE_UVC},
    {0x2b03, 0xf680, DRIVER_TYPE_UVC},
    {0x2b03, 0xf682, DRIVER_TYPE_UVC},
    {0x2b03, 0xf684, DRIVER_TYPE_UVC},
    {0x2b03, 0xf780, DRIVER_TYPE_UVC},
    {0x2b03, 0xf880, DRIVER_TYPE_UVC},
    {0x2df2, 0x0213, DRIVER_TYPE_UVC},
    {0x2df2, 0x0215, DRIVER_TYPE_UVC},
    // Colour and monochrome cameras of the video class.
    {0x2560, 0xc152, DRIVER_TYPE_UVC},
    {0x046d, 0x082d, DRIVER_TYPE_UVC},
    {0x046d, 0x085c, DRIVER_TYPE_UVC},
    {0x046d, 0x0892, DRIVER_TYPE_UVC},
    {0x046d, 0x0893, DRIVER_TYPE_UVC},
    {0x045e, 0x075d, DRIVER_TYPE_UVC},
    {0x045e, 0x0810, DRIVER_TYPE_UVC},
    // Machine vision cameras: the network driver has the other models of their makers.
    {0x2676, 0xba02, DRIVER_TYPE_NET},
    {0x2676, 0xba03, DRIVER_TYPE_NET},
    {0x2676, 0xba04, DRIVER_TYPE_NET},
    {0x1ab2, 0x0001, DRIVER_TYPE_NET},
}};

}  // namespace nubrix
