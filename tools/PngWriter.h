// PNG pictures for the command-line tool, written with libpng: 8-bit RGB,
// no interlacing, every row unfiltered, best compression.
#pragma once

#include <cstdint>
#include <vector>

namespace cli {

// The complete PNG file for a width x height picture; `rgb` holds the rows
// top to bottom, 3 bytes (red, green, blue) per pixel. Both sizes must be at
// least 1 and `rgb` exactly width * height * 3 bytes long.
std::vector<uint8_t> encodePng(int width, int height, const std::vector<uint8_t>& rgb);

} // namespace cli
