#include "net/PictureCheck.h"

namespace nubrix::net {

namespace {

std::size_t bytesOf(ArvBuffer &buffer)
{
    std::size_t bytes = 0;
    arv_buffer_get_data(&buffer, &bytes);
    return bytes;
}

int rowGapOf(ArvBuffer &buffer)
{
    int gap = 0;
    arv_buffer_get_image_padding(&buffer, &gap, nullptr);
    return gap;
}

bool isOneImage(ArvBuffer &buffer)
{
    if (arv_buffer_get_n_parts(&buffer) != 1)
        return false;
    const ArvBufferPartDataType type = arv_buffer_get_part_data_type(&buffer, 0);
    return type == ARV_BUFFER_PART_DATA_TYPE_2D_IMAGE || type == ARV_BUFFER_PART_DATA_TYPE_3D_IMAGE;
}

bool isAsAsked(ArvBuffer &buffer, const PixelFormat &format, const typedefNubrixFrameMode &mode)
{
    return isOneImage(buffer) && arv_buffer_get_image_pixel_format(&buffer) == format.code &&
           arv_buffer_get_image_width(&buffer) == mode.width &&
           arv_buffer_get_image_height(&buffer) == mode.height && rowGapOf(buffer) == 0;
}

}  // namespace

Fault faultOf(ArvBuffer &buffer, const PixelFormat &format, const typedefNubrixFrameMode &mode,
              std::size_t bytes)
{
    switch (arv_buffer_get_status(&buffer)) {
        case ARV_BUFFER_STATUS_SUCCESS:
            return isAsAsked(buffer, format, mode) && bytesOf(buffer) >= bytes ? Fault::kNone
                                                                               : Fault::kMisshapen;
        case ARV_BUFFER_STATUS_SIZE_MISMATCH:
            return Fault::kMisshapen;
        case ARV_BUFFER_STATUS_TIMEOUT:
        case ARV_BUFFER_STATUS_MISSING_PACKETS:
            return Fault::kGaps;  // Aravis tells nothing more of it
        default:
            return Fault::kLost;
    }
}

std::string shapeOf(ArvBuffer &buffer)
{
    if (arv_buffer_get_n_parts(&buffer) > 1)
        return "of several parts";
    if (arv_buffer_get_status(&buffer) == ARV_BUFFER_STATUS_SIZE_MISMATCH)
        return "larger than the camera says";
    if (!isOneImage(buffer))
        return "no images";
    std::string shape = std::to_string(arv_buffer_get_image_width(&buffer)) + "x" +
                        std::to_string(arv_buffer_get_image_height(&buffer)) + " " +
                        nameOfPixelFormat(arv_buffer_get_image_pixel_format(&buffer)) + " in " +
                        std::to_string(bytesOf(buffer)) + " bytes";
    if (rowGapOf(buffer) != 0)
        shape += ", with gaps between the rows";
    return shape;
}

}  // namespace nubrix::net
