// Text streams: characters over a file, a standard stream or a string, in an encoding.
//
// A stream that is read holds its whole source, decoded, as UTF-8 in memory; reading a character is then a
// bounds check and a byte load for ASCII, which is what the tokenizer on top needs. Two modes read the source on
// demand: by lines, so that a dialogue on standard input does not wait for the end of the input, and by blocks, so that
// a large file takes little memory. Output is not gathered in memory: it goes on, encoded, to the file or standard
// stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kb/platform/Object.h"

namespace kb {

class TEncoding;

/// How a file is opened.
enum TTextFileMode {
  tmRead,       // must exist; reading only
  tmReadWrite,  // must exist; reading, and writing at the position
  tmCreate,     // made new, an old content is dropped; writing only
  tmAppend      // made if missing; writing only, behind what is there
};

/// How much of a source is read at a time.
enum TTextReadMode {
  trWhole,  // all of it when the text stream is made
  trLines,  // a line whenever the characters before it are used up
  trBlocks  // a block of some 64 KB likewise
};

enum TSeekOrigin { soBeginning, soCurrent, soEnd };

/// Reads and writes characters, which are code points. An encoding of null means UTF-8; when a source begins
/// with a mark, the mark is skipped and decides its encoding. Bad input reads as U+FFFD and raises nothing.
///
/// Used by one thread at a time. Failures of the source raise EStreamError, for a file with its path; operations
/// that the mode does not allow do so too, but reading a stream made for writing finds it at its end.
class TGTextStream : public TObject {
 public:
  /// Over a string, for reading and writing; the stream owns it. Linear in the string.
  explicit TGTextStream(std::string bytes, const TEncoding* encoding = nullptr);
  /// Reads a standard stream, which must outlive this one unless it is read as a whole.
  explicit TGTextStream(std::istream& source, const TEncoding* encoding = nullptr, TTextReadMode mode = trWhole);
  /// Writes to a standard stream, which must outlive this one. The mark is not written: see WritePreambleToStream.
  explicit TGTextStream(std::ostream& target, const TEncoding* encoding = nullptr);
  /// Opens a file. A file that is made, or is appended to while empty, gets the mark of the encoding. `read`
  /// counts for tmRead alone.
  TGTextStream(const std::filesystem::path& path, TTextFileMode mode, const TEncoding* encoding = nullptr,
               TTextReadMode read = trWhole);
  /// Flushes; an error is lost here, so a caller that wants to know calls Flush first.
  ~TGTextStream() override;

  static const TClassInfo& StaticClass() noexcept;
  [[nodiscard]] const TClassInfo& ClassInfo() const noexcept override { return StaticClass(); }

  /// The next character, or 0 at the end. Constant on average. Overrides take their characters from ReadChar.
  virtual char32_t GetChar() { return ReadChar(); }
  /// Hands a character back: the next GetChar gives it. Any number may be handed back, in reverse order of
  /// reading, and they need not be the ones that were read. The 0 that GetChar gave at the end is ignored.
  virtual void PutBack(char32_t c);
  /// The rest of the line without its end, which is consumed; CR, LF and CR LF are one end each. Reads through
  /// GetChar. Empty at the end of the stream, as for an empty line: IsEof tells them apart beforehand.
  virtual std::string GetLine();
  /// Passes over characters up to code 32, through a line end at most: CR LF is one. True when it stopped at
  /// a line end, false in front of another character or at the end of the stream.
  virtual bool SkipInLineSpaces();
  /// True when no character is left. This may read, and so wait for, the next line or block.
  [[nodiscard]] virtual bool IsEof();

  /// Writes text at the position: at the end of a file or standard stream, over what stands there in a string.
  virtual void Put(std::string_view text);
  /// Put and PutEOL.
  void PutLine(std::string_view text);
  /// Writes CR LF.
  void PutEOL();
  /// Brings written text to the file or standard stream. Raises EStreamError when that fails.
  void Flush();

  /// Moves the position and forgets characters handed back. For a stream that reads, positions count the
  /// bytes of the decoded text (of the present line or block, when it is read by these); a position out of range is
  /// moved into it, and one inside a character to its start. For one that only writes they count the bytes written, and
  /// EStreamError is raised where the target cannot seek. Gives the new position.
  virtual int64_t Seek(int64_t offset, TSeekOrigin origin);
  [[nodiscard]] int64_t GetPosition();

  /// The whole decoded text of a stream over a string or of a source that is read as a whole, else the present line or
  /// block; empty for one that only writes.
  [[nodiscard]] const std::string& GetText() const noexcept { return text_; }
  /// The encoding of the source or target; never null.
  [[nodiscard]] const TEncoding* GetEncoding() const noexcept { return encoding_; }

 protected:
  /// GetChar without the virtual call, for overrides on the hot path.
  char32_t ReadChar() {
    if (putBack_.empty() && pos_ < text_.size() && static_cast<unsigned char>(text_[pos_]) < 0x80) {
      return static_cast<unsigned char>(text_[pos_++]);
    }
    return ReadCharSlow();
  }
  /// True when the last ReadChar found no character: tells its 0 from a character of code 0 in the text.
  [[nodiscard]] bool HitEnd() const noexcept { return hitEnd_; }

 private:
  char32_t ReadCharSlow();
  void OpenForReading(TTextReadMode mode);
  void OpenForWriting(TTextFileMode mode);
  bool FetchMore();
  std::string NextLine();
  std::string NextBlock();
  void WriteOver(std::string_view text);
  void SaveFile();
  void CheckTarget() const;
  [[noreturn]] void Fail(std::string_view what) const;

  std::string text_;               // the decoded source, or its present line or block
  size_t pos_ = 0;                 // next character in text_
  std::vector<char32_t> putBack_;  // handed back and not found in front of pos_; the next one is last
  bool hitEnd_ = false;            // the last ReadChar found the end
  const TEncoding* encoding_;
  std::istream* source_ = nullptr;  // read by lines or blocks; null when all has been read
  bool blocks_ = false;
  bool begun_ = false;                   // the start of source_, where a mark may stand, has been read
  std::unique_ptr<std::istream> input_;  // source_ when this stream opened it
  std::ostream* target_ = nullptr;       // where output goes; null for a string or for tmReadWrite
  std::ofstream file_;                   // the target when this stream opened it
  std::filesystem::path path_;           // empty unless this stream opened a file
  bool writable_ = true;
  bool changed_ = false;  // tmReadWrite: text_ differs from the file
  std::string mark_;      // tmReadWrite: the mark that the file began with
};

/// A text stream over a string.
class TQDStringStream : public TGTextStream {
 public:
  explicit TQDStringStream(std::string text = {}) : TGTextStream(std::move(text)) {}
};

}  // namespace kb
