#include "tools/PngWriter.h"

#include <stdexcept>
#include <string>
#include <zlib.h>

namespace cli {

namespace {

void appendBigEndian(std::vector<uint8_t>& out, uint32_t value) {
    out.push_back(static_cast<uint8_t>(value >> 24));
    out.push_back(static_cast<uint8_t>(value >> 16));
    out.push_back(static_cast<uint8_t>(value >> 8));
    out.push_back(static_cast<uint8_t>(value));
}

// One chunk: length, type, data, CRC-32 over type and data.
void appendChunk(std::vector<uint8_t>& out, const char type[4], const std::vector<uint8_t>& data) {
    appendBigEndian(out, static_cast<uint32_t>(data.size()));
    const size_t typeAt = out.size();
    out.insert(out.end(), type, type + 4);
    out.insert(out.end(), data.begin(), data.end());
    const uLong crc =
        crc32(crc32(0L, Z_NULL, 0), out.data() + typeAt, static_cast<uInt>(out.size() - typeAt));
    appendBigEndian(out, static_cast<uint32_t>(crc));
}

} // namespace

std::vector<uint8_t> encodePng(int width, int height, const std::vector<uint8_t>& rgb) {
    const size_t rowBytes = static_cast<size_t>(width) * 3;
    if (width < 1 || height < 1 || rgb.size() != rowBytes * height) {
        throw std::invalid_argument("encodePng: picture size and pixel data disagree");
    }
    // Each row is preceded by its filter type, 0 (none).
    std::vector<uint8_t> raw;
    raw.reserve((rowBytes + 1) * height);
    for (int y = 0; y < height; ++y) {
        raw.push_back(0);
        raw.insert(raw.end(), rgb.begin() + y * rowBytes, rgb.begin() + (y + 1) * rowBytes);
    }
    uLongf packedSize = compressBound(static_cast<uLong>(raw.size()));
    std::vector<uint8_t> packed(packedSize);
    const int status = compress2(packed.data(), &packedSize, raw.data(),
                                 static_cast<uLong>(raw.size()), Z_BEST_COMPRESSION);
    if (status != Z_OK) {
        // Only an allocation failure can get here.
        throw std::runtime_error("encodePng: zlib status " + std::to_string(status));
    }
    packed.resize(packedSize);

    std::vector<uint8_t> header;
    appendBigEndian(header, static_cast<uint32_t>(width));
    appendBigEndian(header, static_cast<uint32_t>(height));
    header.insert(header.end(),
                  {8, 2, 0, 0, 0}); // 8 bits, RGB, deflate, no filter set, no interlace

    std::vector<uint8_t> file = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    appendChunk(file, "IHDR", header);
    appendChunk(file, "IDAT", packed);
    appendChunk(file, "IEND", {});
    return file;
}

} // namespace cli
