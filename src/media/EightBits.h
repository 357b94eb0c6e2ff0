#pragma once

#include <cstddef>
#include <cstdint>

namespace qatester {

/// Writes the upper eight bits of values of two bytes in the machine's order, each shifted to the
/// right by `shift` first. Values that exceed 255 then become 255.
void writeEightBits(const uint16_t* values, std::size_t count, int shift, uint8_t* bytes);

/// The same, one by one: what it is.
void writeEightBitsOneByOne(const uint16_t* values, std::size_t count, int shift, uint8_t* bytes);

}  // namespace qatester
