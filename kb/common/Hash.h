// Hashing of text.
//
// The hash of a text is a polynomial in its bytes modulo 2^64, so that the hash of a joined text follows from the
// hashes and lengths of its parts, without the text: that is how a fact is looked up by its printed form although the
// form is never built. Before a hash is used as a table key its bits are mixed.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kb {

/// Hash and length of a text; `a + b` is the hash of the text of a followed by the text of b.
struct TTextHash {
  uint64_t value = 0;
  uint64_t power = 1;  // multiplier to the power of the length

  static constexpr uint64_t kMultiplier = 0x9E3779B97F4A7C15ULL | 1;

  constexpr TTextHash() noexcept = default;
  constexpr TTextHash(uint64_t v, uint64_t p) noexcept : value(v), power(p) {}
  explicit constexpr TTextHash(std::string_view text) noexcept {
    for (char c : text) Append(c);
  }

  constexpr void Append(char c) noexcept {
    value = value * kMultiplier + static_cast<unsigned char>(c) + 1;
    power *= kMultiplier;
  }
  friend constexpr TTextHash operator+(TTextHash a, TTextHash b) noexcept {
    return {a.value * b.power + b.value, a.power * b.power};
  }
  /// The hash folded to 32 well mixed bits.
  [[nodiscard]] constexpr int32_t Fold() const noexcept {
    uint64_t h = value;
    h ^= h >> 32;
    h *= 0xD6E8FEB86659FD93ULL;
    h ^= h >> 32;
    return static_cast<int32_t>(static_cast<uint32_t>(h));
  }
};

/// 32-bit hash of a text; equal texts have equal hashes. Linear in the length.
[[nodiscard]] constexpr int32_t CalculateHash(std::string_view text) noexcept { return TTextHash(text).Fold(); }

/// Second form: goes on from the hash `seed` of what came before.
[[nodiscard]] constexpr int32_t CalculateHash(TTextHash text, int32_t seed) noexcept {
  return (TTextHash(static_cast<uint64_t>(static_cast<uint32_t>(seed)), TTextHash::kMultiplier) + text).Fold();
}

/// Spreads the bits of a small integer key over 32 bits, for tables whose size is a power of two.
[[nodiscard]] constexpr uint32_t MixBits(uint32_t key) noexcept {
  key ^= key >> 16;
  key *= 0x7FEB352DU;
  key ^= key >> 15;
  key *= 0x846CA68BU;
  key ^= key >> 16;
  return key;
}

[[nodiscard]] constexpr uint32_t CombineHash(uint32_t a, uint32_t b) noexcept { return MixBits(a * 31 + b); }

}  // namespace kb
