#include "tests/drivers/common/JpegImages.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

// jpeglib.h needs FILE.
#include <jpeglib.h>

namespace nubrix {

namespace {

using Offset = Jpeg::difference_type;

/// First the DC coefficient, then the others in bands, then each bit that was left out.
std::vector<jpeg_scan_info> scansOf(int count, int bits)
{
    std::vector<jpeg_scan_info> scans;
    for (int left = bits; left >= 0; --left) {
        for (int i = 0; i < count; ++i) {
            jpeg_scan_info scan = {};
            scan.comps_in_scan = 1;
            scan.Ss = i;
            scan.Se = i == count - 1 && i != 0 ? DCTSIZE2 - 1 : i;
            scan.Ah = left == bits ? 0 : left + 1;
            scan.Al = left;
            scans.push_back(scan);
        }
    }
    return scans;
}

/// `components` are 1 (grey) or 3 (RGB). `rowOf(y)` returns the bytes of a row.
template <class RowOf>
Jpeg encode(unsigned int width, unsigned int height, int components,
            const std::vector<jpeg_scan_info> &scans, RowOf rowOf)
{
    jpeg_compress_struct encoder = {};
    jpeg_error_mgr errors = {};
    encoder.err = jpeg_std_error(&errors);
    jpeg_create_compress(&encoder);
    unsigned char *data = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&encoder, &data, &size);
    encoder.image_width = width;
    encoder.image_height = height;
    encoder.input_components = components;
    encoder.in_color_space = components == 1 ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&encoder);
    if (!scans.empty()) {
        encoder.scan_info = scans.data();
        encoder.num_scans = static_cast<int>(scans.size());
    }
    jpeg_start_compress(&encoder, TRUE);
    while (encoder.next_scanline < height) {
        std::vector<std::uint8_t> line = rowOf(encoder.next_scanline);
        JSAMPROW row = line.data();
        jpeg_write_scanlines(&encoder, &row, 1);
    }
    jpeg_finish_compress(&encoder);
    jpeg_destroy_compress(&encoder);
    Jpeg jpeg(data, data + size);
    std::free(data);
    return jpeg;
}

Jpeg encodePattern(unsigned int width, unsigned int height,
                   const std::vector<jpeg_scan_info> &scans)
{
    return encode(width, height, 1, scans, [width](unsigned int y) {
        std::vector<std::uint8_t> line(width);
        for (unsigned int x = 0; x < width; ++x)
            line[x] = static_cast<std::uint8_t>(x * 5 ^ y * 3);
        return line;
    });
}

/// The position of the first or last marker of one of these kinds.
Offset placeOf(const Jpeg &jpeg, std::initializer_list<std::uint8_t> kinds, bool last)
{
    Offset place = -1;
    for (std::size_t i = 0; i + 1 < jpeg.size(); ++i) {
        if (jpeg[i] == 0xff && std::count(kinds.begin(), kinds.end(), jpeg[i + 1]) != 0) {
            place = static_cast<Offset>(i);
            if (!last)
                break;
        }
    }
    if (place < 0)
        throw std::logic_error("a JPEG lacks a marker that it must have");
    return place;
}

}  // namespace

Jpeg plainJpeg(unsigned int width, unsigned int height)
{
    return encodePattern(width, height, {});
}

Jpeg rgbJpeg(const std::vector<std::uint8_t> &row, unsigned int height)
{
    return encode(static_cast<unsigned int>(row.size() / 3), height, 3, {},
                  [&row](unsigned int) { return row; });
}

Jpeg progressiveJpeg(unsigned int width, unsigned int height, int scans, int bits)
{
    return encodePattern(width, height, scansOf(scans, bits));
}

Jpeg withScansRepeated(const Jpeg &jpeg, std::size_t times)
{
    const auto scan = jpeg.begin() + placeOf(jpeg, {0xda}, true);
    const auto end = jpeg.begin() + placeOf(jpeg, {0xd9}, true);
    Jpeg repeated(jpeg.begin(), end);
    repeated.reserve(jpeg.size() + times * static_cast<std::size_t>(end - scan));
    for (std::size_t i = 0; i < times; ++i)
        repeated.insert(repeated.end(), scan, end);
    repeated.insert(repeated.end(), end, jpeg.end());
    return repeated;
}

Jpeg withSize(Jpeg jpeg, unsigned int width, unsigned int height)
{
    const auto at = static_cast<std::size_t>(placeOf(jpeg, {0xc0, 0xc2}, false));
    jpeg[at + 5] = static_cast<std::uint8_t>(height >> 8U);
    jpeg[at + 6] = static_cast<std::uint8_t>(height);
    jpeg[at + 7] = static_cast<std::uint8_t>(width >> 8U);
    jpeg[at + 8] = static_cast<std::uint8_t>(width);
    return jpeg;
}

}  // namespace nubrix
