#include "explain/crc.h"

#include <algorithm>

bool operator==(const CrcParams& a, const CrcParams& b) {
  return a.width == b.width && a.poly == b.poly && a.init == b.init && a.refin == b.refin &&
         a.refout == b.refout && a.xorout == b.xorout;
}

std::uint64_t widthMask(unsigned width) {
  return width >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << width) - 1;
}

std::uint64_t reflectBits(std::uint64_t value, unsigned width) {
  std::uint64_t out = 0;
  for (unsigned i = 0; i < width; ++i, value >>= 1) out = (out << 1) | (value & 1);
  return out;
}

Crc::Crc(const CrcParams& params) : params_(params), mask_(widthMask(params.width)) {
  const unsigned w = params_.width;
  const std::uint64_t reflectedPoly = reflectBits(params_.poly, w);
  const std::uint64_t top = std::uint64_t{1} << (w - 1);
  for (unsigned i = 0; i < 256; ++i) {
    std::uint64_t c = params_.refin ? i : std::uint64_t{i} << (w - 8);
    for (int bit = 0; bit < 8; ++bit) {
      if (params_.refin)
        c = (c & 1) ? (c >> 1) ^ reflectedPoly : c >> 1;
      else
        c = ((c & top) ? (c << 1) ^ params_.poly : c << 1) & mask_;
    }
    tables_[0][i] = c;
    inverse_[params_.refin ? c >> (w - 8) : c & 0xff] = static_cast<unsigned char>(i);
  }
  for (int k = 1; k < 8; ++k)
    for (unsigned i = 0; i < 256; ++i) tables_[k][i] = step(tables_[k - 1][i], 0);
}

std::uint64_t Crc::registerOfInit(std::uint64_t init) const {
  return params_.refin ? reflectBits(init, params_.width) : init & mask_;
}

std::uint64_t Crc::unstep(std::uint64_t reg, unsigned char byte) const {
  const unsigned shift = params_.width - 8;
  if (params_.refin) {
    const unsigned index = inverse_[reg >> shift];
    const std::uint64_t rest = reg ^ tables_[0][index];
    return (params_.width > 8 ? (rest << 8) & mask_ : 0) | (index ^ byte);
  }
  const unsigned index = inverse_[reg & 0xff];
  const std::uint64_t rest = reg ^ tables_[0][index];
  return (params_.width > 8 ? rest >> 8 : 0) | (std::uint64_t{index ^ byte} << shift);
}

std::uint64_t Crc::update(std::uint64_t reg, const unsigned char* data, std::size_t size) const {
  const auto& t = tables_;
  const unsigned w = params_.width;
  for (; size >= 8; size -= 8, data += 8) {
    std::uint64_t x = 0;
    if (params_.refin) {
      for (int k = 7; k >= 0; --k) x = (x << 8) | data[k];
      x ^= reg;
      reg = t[7][x & 0xff] ^ t[6][(x >> 8) & 0xff] ^ t[5][(x >> 16) & 0xff] ^
            t[4][(x >> 24) & 0xff] ^ t[3][(x >> 32) & 0xff] ^ t[2][(x >> 40) & 0xff] ^
            t[1][(x >> 48) & 0xff] ^ t[0][x >> 56];
    } else {
      for (int k = 0; k < 8; ++k) x = (x << 8) | data[k];
      x ^= reg << (64 - w);
      reg = t[7][x >> 56] ^ t[6][(x >> 48) & 0xff] ^ t[5][(x >> 40) & 0xff] ^
            t[4][(x >> 32) & 0xff] ^ t[3][(x >> 24) & 0xff] ^ t[2][(x >> 16) & 0xff] ^
            t[1][(x >> 8) & 0xff] ^ t[0][x & 0xff];
    }
  }
  for (; size > 0; --size) reg = step(reg, *data++);
  return reg;
}

std::uint64_t Crc::finish(std::uint64_t reg) const {
  if (params_.refin != params_.refout) reg = reflectBits(reg, params_.width);
  return (reg ^ params_.xorout) & mask_;
}

std::uint64_t Crc::registerOf(std::uint64_t value) const {
  value = (value ^ params_.xorout) & mask_;
  return params_.refin != params_.refout ? reflectBits(value, params_.width) : value;
}

std::uint64_t Crc::compute(const unsigned char* data, std::size_t size) const {
  return finish(update(start(), data, size));
}

std::uint64_t crcBitwise(const CrcParams& p, const unsigned char* data, std::size_t size) {
  const std::uint64_t top = std::uint64_t{1} << (p.width - 1);
  std::uint64_t reg = p.init & widthMask(p.width);
  for (std::size_t i = 0; i < size; ++i) {
    const unsigned byte = p.refin ? reflectBits(data[i], 8) : data[i];
    for (int bit = 7; bit >= 0; --bit) {
      const bool in = ((byte >> bit) & 1) != ((reg & top) != 0);
      reg = (reg << 1) & widthMask(p.width);
      if (in) reg ^= p.poly;
    }
  }
  if (p.refout) reg = reflectBits(reg, p.width);
  return (reg ^ p.xorout) & widthMask(p.width);
}

const std::vector<NamedCrc>& crcCatalogue() {
  constexpr std::uint64_t o32 = 0xffffffff, o16 = 0xffff;
  static const std::vector<NamedCrc> catalogue = {
      {"CRC-32/ISO-HDLC", {32, 0x04c11db7, o32, true, true, o32}, 0xcbf43926},
      {"CRC-32/ISCSI", {32, 0x1edc6f41, o32, true, true, o32}, 0xe3069283},
      {"CRC-32/BZIP2", {32, 0x04c11db7, o32, false, false, o32}, 0xfc891918},
      {"CRC-32/MPEG-2", {32, 0x04c11db7, o32, false, false, 0}, 0x0376e6e7},
      {"CRC-32/CKSUM", {32, 0x04c11db7, 0, false, false, o32}, 0x765e7680},
      {"CRC-32/JAMCRC", {32, 0x04c11db7, o32, true, true, 0}, 0x340bc6d9},
      {"CRC-16/ARC", {16, 0x8005, 0, true, true, 0}, 0xbb3d},
      {"CRC-16/IBM-3740", {16, 0x1021, o16, false, false, 0}, 0x29b1},
      {"CRC-16/XMODEM", {16, 0x1021, 0, false, false, 0}, 0x31c3},
      {"CRC-16/KERMIT", {16, 0x1021, 0, true, true, 0}, 0x2189},
      {"CRC-16/MODBUS", {16, 0x8005, o16, true, true, 0}, 0x4b37},
      {"CRC-16/IBM-SDLC", {16, 0x1021, o16, true, true, o16}, 0x906e},
      {"CRC-16/GENIBUS", {16, 0x1021, o16, false, false, o16}, 0xd64e},
      {"CRC-8/SMBUS", {8, 0x07, 0, false, false, 0}, 0xf4},
      {"CRC-8/MAXIM-DOW", {8, 0x31, 0, true, true, 0}, 0xa1},
      {"CRC-64/XZ", {64, 0x42f0e1eba9ea3693, ~0ULL, true, true, ~0ULL}, 0x995dc9bbdf1939fa},
      {"CRC-64/ECMA-182", {64, 0x42f0e1eba9ea3693, 0, false, false, 0}, 0x6c40df5f0b497347},
  };
  return catalogue;
}

const char* crcName(const CrcParams& params) {
  for (const NamedCrc& entry : crcCatalogue())
    if (entry.params == params) return entry.name;
  return nullptr;
}

std::vector<CrcShape> crcShapes(unsigned width) {
  std::vector<CrcShape> shapes;
  for (const NamedCrc& entry : crcCatalogue()) {
    const CrcShape shape{entry.params.poly, entry.params.refin};
    if (entry.params.width == width &&
        std::none_of(shapes.begin(), shapes.end(), [&](const CrcShape& s) {
          return s.poly == shape.poly && s.refin == shape.refin;
        }))
      shapes.push_back(shape);
  }
  return shapes;
}
