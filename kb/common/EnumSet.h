// A set over the members of a small enumeration, held in one machine word.
#pragma once

#include <bit>
#include <cstdint>
#include <initializer_list>

namespace kb {

/// Members are the enumeration's values 0 to 31. All operations are constant; the set is passed by value.
template <class E>
class TEnumSet {
 public:
  constexpr TEnumSet() noexcept = default;
  constexpr TEnumSet(E member) noexcept : bits_(Bit(member)) {}
  constexpr TEnumSet(std::initializer_list<E> members) noexcept {
    for (E member : members) bits_ |= Bit(member);
  }
  [[nodiscard]] static constexpr TEnumSet FromBits(uint32_t bits) noexcept {
    TEnumSet result;
    result.bits_ = bits;
    return result;
  }

  [[nodiscard]] constexpr bool Has(E member) const noexcept { return (bits_ & Bit(member)) != 0; }
  [[nodiscard]] constexpr bool Empty() const noexcept { return bits_ == 0; }
  [[nodiscard]] constexpr int Count() const noexcept { return std::popcount(bits_); }
  [[nodiscard]] constexpr uint32_t Bits() const noexcept { return bits_; }
  /// True when every member of `other` is in this set.
  [[nodiscard]] constexpr bool Includes(TEnumSet other) const noexcept { return (other.bits_ & ~bits_) == 0; }

  constexpr TEnumSet& operator+=(TEnumSet other) noexcept {
    bits_ |= other.bits_;
    return *this;
  }
  constexpr TEnumSet& operator-=(TEnumSet other) noexcept {
    bits_ &= ~other.bits_;
    return *this;
  }
  friend constexpr TEnumSet operator+(TEnumSet a, TEnumSet b) noexcept { return a += b; }
  friend constexpr TEnumSet operator-(TEnumSet a, TEnumSet b) noexcept { return a -= b; }
  friend constexpr TEnumSet operator*(TEnumSet a, TEnumSet b) noexcept { return FromBits(a.bits_ & b.bits_); }
  friend constexpr bool operator==(TEnumSet a, TEnumSet b) noexcept { return a.bits_ == b.bits_; }

 private:
  [[nodiscard]] static constexpr uint32_t Bit(E member) noexcept {
    return uint32_t{1} << static_cast<uint32_t>(member);
  }
  uint32_t bits_ = 0;
};

}  // namespace kb
