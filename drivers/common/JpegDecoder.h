// Decodes untrusted JPEGs: those of cameras and of files.
#pragma once

#include <atomic>
#include <chrono>
#include <csetjmp>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

// This header needs FILE and size_t to be declared.
#include <jpeglib.h>

namespace nubrix {

/// Decodes one JPEG. A small file may describe an image that takes hours: see Limits. Not thread-
/// safe, except for the flag.
class JpegDecoder {
public:
    struct Limits {
        /// Processor time of the decoding thread, so that a busy system refuses nothing.
        std::chrono::milliseconds time{1000};
        /// Another thread sets it to stop the decoding; may be null.
        const std::atomic<bool> *stop = nullptr;
    };
    enum class Damage {
        kTolerated,  ///< missing pixels are guessed; see isDamaged
        kRefused,
    };
    /// Every scan covers the complete image, however few bytes it has. Encoders write about ten
    /// scans, those that optimise for size a few dozen.
    static constexpr int kMostScans = 100;

    JpegDecoder(Damage damage, const Limits &limits);
    JpegDecoder(const JpegDecoder &) = delete;
    JpegDecoder &operator=(const JpegDecoder &) = delete;
    ~JpegDecoder() { jpeg_destroy_decompress(&m_jpeg); }

    /// Reads up to the pixels, and reserves or decodes none of them; the bytes or the file must
    /// live until the last operation. False when it is no JPEG: error returns why.
    bool readHeader(const std::uint8_t *jpeg, std::size_t bytes);
    bool readHeader(std::FILE *file);
    unsigned int width() const { return m_jpeg.image_width; }
    unsigned int height() const { return m_jpeg.image_height; }
    /// Writes width * height RGB888 pixels, after readHeader. Accepts images without Huffman
    /// tables, as cameras send them. False when it cannot be decoded: error returns why.
    bool decode(std::uint8_t *rgb);

    bool isDamaged() const { return m_errors.num_warnings != 0; }
    std::string error() const { return static_cast<const char *>(m_message); }

private:
    bool readHeader();
    bool decodeRows(std::uint8_t *rgb);
    [[noreturn]] void leave();
    void checkLimits();

    static JpegDecoder &of(j_common_ptr jpeg);
    [[noreturn]] static void onError(j_common_ptr jpeg);
    static void onMessage(j_common_ptr jpeg, int level);
    static void onOutput(j_common_ptr /*jpeg*/) {}
    static void onProgress(j_common_ptr jpeg) { of(jpeg).checkLimits(); }

    const Damage m_damage;
    const Limits m_limits;
    const std::chrono::nanoseconds m_end;  // of the thread's time
    jpeg_decompress_struct m_jpeg = {};
    jpeg_error_mgr m_errors = {};
    jpeg_progress_mgr m_progress = {};
    std::jmp_buf m_exit = {};
    char m_message[JMSG_LENGTH_MAX] = "";
};

}  // namespace nubrix
