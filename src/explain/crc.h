// Parametrised cyclic redundancy checks: the usual model (width, polynomial
// in normal form, initial value, input and output reflection, final XOR), a
// catalogue of named ones, and the register-level steps the checksum finder
// needs (advance over bytes, step back over bytes, fold the output into the
// register).
//
// Pure computations over memory: no messages, no I/O. Widths are 8, 16, 32
// and 64; the polynomial must have its x^0 term (every CRC in use has), which
// makes each step invertible.
#ifndef OVRELL_EXPLAIN_CRC_H_
#define OVRELL_EXPLAIN_CRC_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

struct CrcParams {
  unsigned width = 32;     // 8, 16, 32 or 64
  std::uint64_t poly = 0;  // normal form, without the x^width term
  std::uint64_t init = 0;  // normal form
  bool refin = false;
  bool refout = false;
  std::uint64_t xorout = 0;
};

bool operator==(const CrcParams& a, const CrcParams& b);

// Mask of the low `width` bits.
std::uint64_t widthMask(unsigned width);
// The low `width` bits of `value` in reverse order.
std::uint64_t reflectBits(std::uint64_t value, unsigned width);

// A CRC ready to run: its tables are made once. The register is kept in the
// reflected form when `refin` is set, in the normal form otherwise.
class Crc {
 public:
  explicit Crc(const CrcParams& params);

  const CrcParams& params() const { return params_; }
  // The CRC of `size` bytes.
  std::uint64_t compute(const unsigned char* data, std::size_t size) const;

  // The register before any byte (the initial value in the register's form).
  std::uint64_t start() const { return registerOfInit(params_.init); }
  std::uint64_t registerOfInit(std::uint64_t init) const;
  // The inverse of registerOfInit: the initial value a register stands for.
  std::uint64_t initOfRegister(std::uint64_t reg) const { return registerOfInit(reg); }
  std::uint64_t update(std::uint64_t reg, const unsigned char* data, std::size_t size) const;
  std::uint64_t step(std::uint64_t reg, unsigned char byte) const {
    if (params_.refin) return (params_.width > 8 ? reg >> 8 : 0) ^ tables_[0][(reg ^ byte) & 0xff];
    const unsigned shift = params_.width - 8;
    return ((params_.width > 8 ? reg << 8 : 0) ^ tables_[0][((reg >> shift) ^ byte) & 0xff]) &
           mask_;
  }
  // The register before `byte` given the register after it.
  std::uint64_t unstep(std::uint64_t reg, unsigned char byte) const;
  std::uint64_t finish(std::uint64_t reg) const;
  // The register a CRC value comes from (inverse of finish).
  std::uint64_t registerOf(std::uint64_t value) const;

 private:
  CrcParams params_;
  std::uint64_t mask_;
  std::array<std::array<std::uint64_t, 256>, 8> tables_;
  std::array<unsigned char, 256> inverse_;  // index of the table entry from its unique byte
};

// The CRC straight from its definition, one bit at a time: the reference of the tests.
std::uint64_t crcBitwise(const CrcParams& params, const unsigned char* data, std::size_t size);

struct NamedCrc {
  const char* name;
  CrcParams params;
  std::uint64_t check;  // the CRC of the nine bytes "123456789"
};

// The named CRCs, the most common first.
const std::vector<NamedCrc>& crcCatalogue();
// The name of the catalogue entry with exactly these parameters, or nullptr.
const char* crcName(const CrcParams& params);
// The distinct polynomials of the catalogue of one width, with the reflections they are used with.
struct CrcShape {
  std::uint64_t poly;
  bool refin;
};
std::vector<CrcShape> crcShapes(unsigned width);

#endif  // OVRELL_EXPLAIN_CRC_H_
