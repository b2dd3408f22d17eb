#include "Expected.h"

#include <nubrix/image.h>

#include <cstdio>
#include <stdexcept>
#include <utility>
// Needs <cstdio>.
#include <jpeglib.h>

#include "../camera/CameraModel.h"

namespace nubrix::vm {

namespace {

// Whole millimetres become quarters; what these cannot hold was not measured.
Bytes depthQuarters(FrameSize size, unsigned int number)
{
    Bytes bytes;
    bytes.reserve(std::size_t{size.width} * size.height * 2);
    for (unsigned int y = 0; y < size.height; ++y) {
        for (unsigned int x = 0; x < size.width; ++x) {
            const unsigned int millimetres = depthAt(size, x, y, number);
            append16(bytes, millimetres <= 16383 ? millimetres * 4 : 0);
        }
    }
    return bytes;
}

Bytes decodeJpeg(const Bytes &frame, FrameSize size)
{
    jpeg_decompress_struct jpeg = {};
    jpeg_error_mgr errors = {};
    jpeg.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&jpeg);
    jpeg_mem_src(&jpeg, frame.data(), static_cast<unsigned long>(frame.size()));
    jpeg_read_header(&jpeg, TRUE);
    jpeg.out_color_space = JCS_RGB;
    jpeg_start_decompress(&jpeg);
    Bytes bytes(std::size_t{size.width} * size.height * 3);
    while (jpeg.output_scanline < jpeg.output_height) {
        JSAMPROW row = bytes.data() + std::size_t{jpeg.output_scanline} * size.width * 3;
        jpeg_read_scanlines(&jpeg, &row, 1);
    }
    jpeg_finish_decompress(&jpeg);
    jpeg_destroy_decompress(&jpeg);
    return bytes;
}

// The library's own conversions, which have tests of their own.
Bytes toRgb(PixelFormat source, FrameSize size, unsigned int number)
{
    Bytes frame = drawFrame(source, size, number);
    const std::size_t pixels = std::size_t{size.width} * size.height;
    Bytes bytes(pixels * 3);
    if (source == PixelFormat::kMotionJpeg) {
        return decodeJpeg(frame, size);
    }
    if (source == PixelFormat::kYuyv) {
        YUV422ToRGB(bytes.data(), frame.data(), size.width, size.height);
    } else if (source == PixelFormat::kUyvy) {
        unsigned int consumed = 0;
        auto produced = static_cast<unsigned int>(bytes.size());
        YUV422ToRGB888(frame.data(), bytes.data(), static_cast<unsigned int>(frame.size()),
                       &consumed, &produced);
    } else {
        for (std::size_t at = pixels; at < frame.size(); at += 2) {
            std::swap(frame[at], frame[at + 1]);
        }
        YUVNV21ToRGB888(bytes.data(), frame.data(), static_cast<int>(size.width),
                        static_cast<int>(size.height));
    }
    return bytes;
}

Bytes expected(const Kind &kind, FrameSize size, unsigned int number)
{
    switch (kind.streamType) {
        case NUBRIX_STREAM_DEPTH:
            return depthQuarters(size, number);
        case NUBRIX_STREAM_COLOR:
            return toRgb(kind.source, size, number);
        default:
            return drawFrame(kind.source, size, number);
    }
}

}  // namespace

Kind kindOf(const std::string &stream, const std::string &formats)
{
    for (const StreamModel &model : streamModels(formats)) {
        if (stream != model.name) {
            continue;
        }
        const PixelFormat source = model.formats.front();
        if (stream == "depth") {
            return {NUBRIX_STREAM_DEPTH, NUBRIX_PIXEL_DEPTH_14_2, source};
        }
        if (stream == "color") {
            return {NUBRIX_STREAM_COLOR, NUBRIX_PIXEL_RGB888, source};
        }
        const bool oneByte = source == PixelFormat::kGrey;
        return {NUBRIX_STREAM_IR, oneByte ? NUBRIX_PIXEL_GREY8 : NUBRIX_PIXEL_GREY16, source};
    }
    throw std::runtime_error("no stream " + stream);
}

std::string difference(const Kind &kind, FrameSize size, const typedefNubrixFrame &frame)
{
    const std::string name = "frame " + std::to_string(frame.frameIndex);
    if (frame.pixelFormat != kind.pixelFormat || frame.streamType != kind.streamType ||
        frame.width != static_cast<int>(size.width) ||
        frame.height != static_cast<int>(size.height)) {
        return name + " has another format or size";
    }
    const Bytes wanted = expected(kind, size, frame.frameIndex);
    if (frame.dataSize != wanted.size()) {
        return name + " has " + std::to_string(frame.dataSize) + " bytes";
    }
    const auto *bytes = static_cast<const std::uint8_t *>(frame.data);
    for (std::size_t at = 0; at < wanted.size(); ++at) {
        if (bytes[at] != wanted[at]) {
            return name + ": byte " + std::to_string(at) + " is " + std::to_string(bytes[at]) +
                   ", expected " + std::to_string(wanted[at]);
        }
    }
    return "";
}

}  // namespace nubrix::vm
