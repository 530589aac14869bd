#include "kb/common/TextStream.h"

#include <algorithm>
#include <cerrno>
#include <istream>
#include <ostream>
#include <system_error>

#include "kb/common/Helpers.h"
#include "kb/platform/Encoding.h"
#include "kb/platform/Exceptions.h"
#include "kb/platform/Files.h"

namespace kb {

namespace {

constexpr char32_t kCR = U'\r';
constexpr char32_t kLF = U'\n';

bool IsContinuation(char c) noexcept { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80U; }

constexpr size_t kBlockSize = 65536;

// The code unit in the last two bytes, or 0.
unsigned LastWideUnit(const std::string& bytes, bool bigEndian) noexcept {
  if (bytes.size() < 2) return 0;
  const auto first = static_cast<unsigned char>(bytes[bytes.size() - 2]);
  const auto second = static_cast<unsigned char>(bytes[bytes.size() - 1]);
  return bigEndian ? first * 256U + second : second * 256U + first;
}

// Reads on to the end of a UTF-16 character: reading stopped at a byte 0A, wherever in a character that stood.
void CompleteWideChar(std::istream& source, std::string& bytes, bool bigEndian) {
  const auto readByte = [&] {
    const int next = source.get();
    if (next == std::istream::traits_type::eof()) return false;
    bytes += static_cast<char>(next);
    return true;
  };
  if (bytes.size() % 2 != 0 && !readByte()) return;
  const unsigned unit = LastWideUnit(bytes, bigEndian);
  if (unit >= 0xD800 && unit < 0xDC00 && readByte()) readByte();
}

// The same for UTF-8: a character goes on with at most three continuation bytes.
void CompleteNarrowChar(std::istream& source, std::string& bytes) {
  for (int i = 0; i < 3; ++i) {
    const int next = source.peek();
    if (next == std::istream::traits_type::eof() || !IsContinuation(static_cast<char>(next))) return;
    bytes += static_cast<char>(source.get());
  }
}

}  // namespace

const TClassInfo& TGTextStream::StaticClass() noexcept {
  static const TClassInfo info{"TGTextStream", &TObject::StaticClass(), nullptr, nullptr};
  return info;
}

// ---- Making and ending

TGTextStream::TGTextStream(std::string bytes, const TEncoding* encoding)
    : text_(TEncoding::OrDefault(encoding)->Decode(std::move(bytes))), encoding_(TEncoding::OrDefault(encoding)) {}

TGTextStream::TGTextStream(std::istream& source, const TEncoding* encoding, TTextReadMode mode)
    : encoding_(TEncoding::OrDefault(encoding)), writable_(false) {
  if (mode == trWhole) {
    text_ = encoding_->Decode(ReadAllBytes(source));
  } else {
    source_ = &source;
    blocks_ = mode == trBlocks;
  }
}

TGTextStream::TGTextStream(std::ostream& target, const TEncoding* encoding)
    : encoding_(TEncoding::OrDefault(encoding)), target_(&target) {}

TGTextStream::TGTextStream(const std::filesystem::path& path, TTextFileMode mode, const TEncoding* encoding,
                           TTextReadMode read)
    : encoding_(TEncoding::OrDefault(encoding)), path_(path), writable_(mode != tmRead) {
  if (mode == tmRead || mode == tmReadWrite) {
    OpenForReading(mode == tmReadWrite ? trWhole : read);
  } else {
    OpenForWriting(mode);
  }
}

TGTextStream::~TGTextStream() {
  try {
    Flush();
  } catch (...) {
    // A destructor has nobody to tell.
  }
}

void TGTextStream::OpenForReading(TTextReadMode mode) {
  auto file = std::make_unique<std::ifstream>(files::OpenInput(path_));
  if (mode != trWhole) {
    input_ = std::move(file);
    source_ = input_.get();
    blocks_ = mode == trBlocks;
    return;
  }
  std::string bytes;
  try {
    bytes = ReadAllBytes(*file);
  } catch (const EStreamError&) {
    Fail("Cannot read file");
  }
  if (const TEncoding* marked = TEncoding::Detect(bytes)) {
    encoding_ = marked;
    mark_ = marked->Preamble();
  }
  text_ = encoding_->Decode(std::move(bytes));
  if (!writable_) return;
  // Opened at once, not when the text is saved: append mode opens for writing without touching the content.
  errno = 0;
  if (!std::ofstream(path_, std::ios::binary | std::ios::app)) Fail("Cannot open file");
}

void TGTextStream::OpenForWriting(TTextFileMode mode) {
  errno = 0;
  file_.open(path_, std::ios::binary | (mode == tmAppend ? std::ios::app : std::ios::trunc));
  if (!file_) Fail(mode == tmAppend ? "Cannot open file" : "Cannot create file");
  target_ = &file_;
  file_.seekp(0, std::ios::end);
  const bool empty = file_.tellp() == std::ofstream::pos_type(0);
  // What cannot seek has no position to be at; that is no failure of the stream.
  file_.clear();
  if (empty) file_ << encoding_->Preamble();
}

void TGTextStream::Fail(std::string_view what) const {
  std::string message(what);
  if (!path_.empty()) {
    const int error = errno;
    message += " \"" + files::PathText(path_) + "\"";
    if (error != 0) message += ": " + std::generic_category().message(error);
  }
  throw EStreamError(std::move(message));
}

// ---- Reading

char32_t TGTextStream::ReadCharSlow() {
  hitEnd_ = false;
  if (!putBack_.empty()) {
    const char32_t c = putBack_.back();
    putBack_.pop_back();
    return c;
  }
  if (pos_ >= text_.size() && !FetchMore()) {
    hitEnd_ = true;
    return 0;
  }
  return NextCodePoint(text_, pos_);
}

// Reads the next line or block. False at the end, and always when the source has been read as a whole.
bool TGTextStream::FetchMore() {
  if (source_ == nullptr || !*source_) return false;
  errno = 0;
  std::string bytes = blocks_ ? NextBlock() : NextLine();
  if (source_->bad()) Fail(path_.empty() ? "Stream read error" : "Cannot read file");
  const bool more = source_->good();
  if (!begun_) {
    begun_ = true;
    if (const TEncoding* marked = TEncoding::Detect(bytes)) {
      encoding_ = marked;
      bytes.erase(0, marked->Preamble().size());
    }
  }
  if (more && encoding_->IsWide()) {
    CompleteWideChar(*source_, bytes, encoding_ == TEncoding::UTF16BE());
  } else if (more && blocks_) {
    CompleteNarrowChar(*source_, bytes);
  }
  text_ = encoding_->DecodePart(std::move(bytes));
  pos_ = 0;
  return !text_.empty();
}

std::string TGTextStream::NextLine() {
  std::string bytes;
  std::getline(*source_, bytes);
  if (source_->good()) bytes += '\n';
  return bytes;
}

std::string TGTextStream::NextBlock() {
  std::string bytes(kBlockSize, '\0');
  source_->read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  bytes.resize(static_cast<size_t>(source_->gcount()));
  return bytes;
}

void TGTextStream::PutBack(char32_t c) {
  if (c == 0 && hitEnd_) return;
  hitEnd_ = false;
  // Nearly always the character is the one before the position: then the position steps back.
  if (putBack_.empty()) {
    if (c < 0x80 && pos_ > 0 && text_[pos_ - 1] == static_cast<char>(c)) {
      --pos_;
      return;
    }
    std::string encoded;
    AppendCodePoint(encoded, c);
    if (pos_ >= encoded.size() && text_.compare(pos_ - encoded.size(), encoded.size(), encoded) == 0) {
      pos_ -= encoded.size();
      return;
    }
  }
  putBack_.push_back(c);
}

std::string TGTextStream::GetLine() {
  std::string line;
  for (;;) {
    const char32_t c = GetChar();
    if (c == kLF || (c == 0 && hitEnd_)) return line;
    if (c == kCR) {
      const char32_t next = GetChar();
      if (next != kLF) PutBack(next);
      return line;
    }
    AppendCodePoint(line, c);
  }
}

bool TGTextStream::SkipInLineSpaces() {
  for (;;) {
    const char32_t c = GetChar();
    if (c == kLF) return true;
    if (c == kCR) {
      const char32_t next = GetChar();
      if (next != kLF) PutBack(next);
      return true;
    }
    if (c > U' ') {
      PutBack(c);
      return false;
    }
    if (c == 0 && hitEnd_) return false;
  }
}

bool TGTextStream::IsEof() { return putBack_.empty() && pos_ >= text_.size() && !FetchMore(); }

// ---- Writing

void TGTextStream::CheckTarget() const {
  if (writable_) return;
  errno = 0;
  Fail("Stream is not open for writing");
}

void TGTextStream::Put(std::string_view text) {
  CheckTarget();
  if (target_ == nullptr) {
    WriteOver(text);
    return;
  }
  errno = 0;
  try {
    WriteStringToStream(*target_, text, encoding_);
  } catch (const EStreamError&) {
    Fail("Cannot write to file");
  }
}

void TGTextStream::WriteOver(std::string_view text) {
  putBack_.clear();
  hitEnd_ = false;
  size_t end = std::min(text_.size(), pos_ + text.size());
  // A character that is hit in its middle goes whole, so that the text stays valid.
  while (end < text_.size() && IsContinuation(text_[end])) ++end;
  text_.replace(pos_, end - pos_, text);
  pos_ += text.size();
  changed_ = true;
}

void TGTextStream::PutLine(std::string_view text) {
  Put(text);
  PutEOL();
}

void TGTextStream::PutEOL() { Put(kLineEnd); }

void TGTextStream::Flush() {
  if (target_ != nullptr) {
    errno = 0;
    if (!target_->flush()) Fail(path_.empty() ? "Stream write error" : "Cannot write to file");
  } else if (!path_.empty() && changed_) {
    SaveFile();
  }
}

void TGTextStream::SaveFile() {
  errno = 0;
  std::ofstream file(path_, std::ios::binary | std::ios::trunc);
  if (!file) Fail("Cannot create file");
  file << mark_ << encoding_->Encode(text_);
  if (!file.flush()) Fail("Cannot write to file");
  changed_ = false;
}

// ---- Position

int64_t TGTextStream::Seek(int64_t offset, TSeekOrigin origin) {
  putBack_.clear();
  hitEnd_ = false;
  if (target_ != nullptr) {
    target_->seekp(offset, origin == soBeginning ? std::ios::beg : origin == soCurrent ? std::ios::cur : std::ios::end);
    if (!*target_) {
      target_->clear();
      errno = 0;
      Fail("Stream cannot seek");
    }
    return target_->tellp();
  }
  const auto size = static_cast<int64_t>(text_.size());
  const int64_t base = origin == soBeginning ? 0 : origin == soCurrent ? static_cast<int64_t>(pos_) : size;
  // Clamped as a distance, so that no sum can overflow.
  pos_ = static_cast<size_t>(base + std::clamp(offset, -base, size - base));
  while (pos_ > 0 && pos_ < text_.size() && IsContinuation(text_[pos_])) --pos_;
  return static_cast<int64_t>(pos_);
}

int64_t TGTextStream::GetPosition() {
  return target_ != nullptr ? static_cast<int64_t>(target_->tellp()) : static_cast<int64_t>(pos_);
}

}  // namespace kb
