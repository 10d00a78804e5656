#include "tools/PngWriter.h"

#include <png.h>

#include <csetjmp>
#include <new>
#include <stdexcept>

namespace cli {

namespace {

// libpng's output callback: appends to the vector behind the io pointer. An
// exception must not cross libpng's C frames, so a failed allocation goes
// back through png_error's long jump.
void appendBytes(png_structp png, png_bytep data, size_t length) {
    auto* out = static_cast<std::vector<uint8_t>*>(png_get_io_ptr(png));
    try {
        out->insert(out->end(), data, data + length);
    } catch (const std::bad_alloc&) {
        png_error(png, "out of memory");
    }
}

void flushNothing(png_structp) {}

// The libpng calls themselves, in a frame that holds no C++ object with a
// destructor, so that libpng's long jump on an error skips none. False on
// any libpng error.
bool writeRows(png_structp png, png_infop info, int width, int height, const uint8_t* rgb,
               std::vector<uint8_t>* out) {
    if (setjmp(png_jmpbuf(png)) != 0) {
        return false;
    }
    png_set_write_fn(png, out, appendBytes, flushNothing);
    png_set_IHDR(png, info, static_cast<png_uint_32>(width), static_cast<png_uint_32>(height), 8,
                 PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_set_filter(png, PNG_FILTER_TYPE_BASE, PNG_FILTER_NONE);
    png_set_compression_level(png, 9);
    png_write_info(png, info);
    const size_t rowBytes = static_cast<size_t>(width) * 3;
    for (int y = 0; y < height; ++y) {
        png_write_row(png, rgb + static_cast<size_t>(y) * rowBytes);
    }
    png_write_end(png, nullptr);
    return true;
}

} // namespace

std::vector<uint8_t> encodePng(int width, int height, const std::vector<uint8_t>& rgb) {
    const size_t rowBytes = static_cast<size_t>(width) * 3;
    if (width < 1 || height < 1 || rgb.size() != rowBytes * height) {
        throw std::invalid_argument("encodePng: picture size and pixel data disagree");
    }
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    std::vector<uint8_t> file;
    const bool written = info && writeRows(png, info, width, height, rgb.data(), &file);
    png_destroy_write_struct(&png, &info);
    if (!written) {
        // libpng fails only when memory runs out.
        throw std::bad_alloc();
    }
    return file;
}

} // namespace cli
