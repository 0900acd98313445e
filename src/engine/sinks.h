// Where the passes put what they find: the masks and the stretches.
//
// The engine knows nothing of formats, file names or streams; the program
// that runs it hands the passes a MaskSink and, with dissimilarities, a
// StretchSink, and decides where they write (ovrell's are in
// output/result_sinks.h). A sink may end the run when it cannot write.
//
// The commonalities-only pass reads each block once for a batch of
// attributes: it opens a piece of each attribute's output (`openPiece`,
// numbered from 0 in the order opened), makes the text of every tile's
// part of each mask on any thread (the const methods, which must be safe
// to call from several threads at once), and puts the texts in file order
// on the calling thread (`putPart`), then closes the pieces. The
// dissimilarity pass hands each attribute's whole mask at its end, piece by
// piece in file order, and its stretches block by block.
#ifndef OVRELL_ENGINE_SINKS_H_
#define OVRELL_ENGINE_SINKS_H_

#include <cstddef>
#include <cstdint>

class MaskSink {
 public:
  virtual ~MaskSink() = default;

  // --- A block's pieces, as text made on any thread ---
  // How many attributes may have a piece open at once beside `dataFiles`
  // open data files; 1 when they share one output (each then prints a whole
  // block in turn).
  virtual std::size_t piecesAtOnce(std::size_t dataFiles) const = 0;
  // Opens attribute `position`'s piece of one block; false, silently, when
  // its output cannot be opened: the piece is then lost and not numbered.
  virtual bool openPiece(std::size_t position) = 0;
  // Whether a mask is its own text (formatPart would copy it).
  virtual bool maskIsText() const = 0;
  // The room formatPart needs for `length` bytes of a mask.
  virtual std::uint64_t textBound(std::uint64_t length) const = 0;
  // Puts the text of `length` bytes of a piece at `to` and returns its size;
  // `endsPiece`: these are the piece's last bytes.
  virtual std::size_t formatPart(const unsigned char* mask, std::uint64_t length, bool endsPiece,
                                 char* to) const = 0;
  // Writes to open piece `piece` the text of a part of `length` bytes.
  virtual void putPart(std::size_t piece, const char* text, std::size_t size,
                       std::uint64_t length) = 0;
  // Closes the open pieces.
  virtual void closePieces() = 0;

  // --- A whole mask at once ---
  // Opens attribute `position`'s output; ends the run when it cannot.
  virtual void openMask(std::size_t position) = 0;
  virtual void putMask(const unsigned char* mask, std::uint64_t length) = 0;
  virtual void closeMask() = 0;
};

class StretchSink {
 public:
  virtual ~StretchSink() = default;
  // Opens attribute `position`'s stretches for one block; ends the run when
  // it cannot.
  virtual void openBlock(std::size_t position) = 0;
  // A stretch from bit position `first` to `last`.
  virtual void stretch(std::uint64_t first, std::uint64_t last) = 0;
  virtual void closeBlock() = 0;
};

#endif  // OVRELL_ENGINE_SINKS_H_
