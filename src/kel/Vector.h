// Vector<T>: the library's small sequence container with exact capacities, storage from the
// DLLMalloc family, and a little-endian serialized form for number elements.
#ifndef ZO_KEL_VECTOR_H
#define ZO_KEL_VECTOR_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "kel/DLLMalloc.h"
#include "kel/little_endian.h"

namespace zo {
namespace kel {

namespace detail {
/// Elements that have a serialized form: fixed-width numbers, written little-endian.
template <typename T>
constexpr bool kVectorWireElement = little_endian::detail::kIsWireType<T>;
}  // namespace detail

/// A sequence of T in one block from DLLMalloc, released with DLLFree, so that the memory can
/// cross the library's interface. Three pointers: begin, end, end of storage (all null when
/// nothing is owned).
///
/// Capacities are exact, deliberately: the vector holds short lists, so Vector(n) and resize up
/// to n give a capacity of exactly n, and push_back on a full vector grows by one element (a
/// reallocation on every such push_back). Shrinking keeps the block.
///
/// Copy construction and assignment make a deep copy whose capacity equals its size; moving
/// takes the storage and leaves the source empty. Every operation that throws (std::bad_alloc,
/// an element's copy, a serialization error) leaves the vector as it was.
///
/// Number elements (fixed-width integers, float, double) have a serialized form: a 32-bit
/// little-endian count, then the elements little-endian.
template <typename T>
class Vector {
 public:
  /// Container types: elements, 32-bit counts, pointers as iterators.
  ///@{
  using value_type = T;
  using size_type = std::uint32_t;
  using iterator = T*;
  using const_iterator = const T*;
  ///@}

  /// The largest block, in bytes: a serialized vector (count field + elements) must fit a
  /// 32-bit size. Longer vectors are refused with std::bad_alloc.
  static constexpr std::uint64_t kMaxBytes = 0xFFFFFFFFu - 4u;

  /// Empty, no storage.
  Vector() noexcept : begin_(nullptr), end_(nullptr), capEnd_(nullptr) {}
  /// n value-initialised elements (0, false, empty string) with a capacity of exactly n; the
  /// empty state for n = 0.
  explicit Vector(size_type n) : Vector() {
    T* block = Allocate(n);
    ConstructOrFree(block, [&] { std::uninitialized_value_construct(block, block + n); });
    Adopt(block, n, n);
  }
  /// A copy of [first, last), capacity exactly last - first.
  Vector(const T* first, const T* last) : Vector() {
    const size_type n = CheckedCount(last - first);
    T* block = Allocate(n);
    ConstructOrFree(block, [&] { std::uninitialized_copy(first, last, block); });
    Adopt(block, n, n);
  }
  /// Copies have a capacity of exactly the other's size; a moved-from vector is empty. Assignment
  /// leaves this vector unchanged when it throws (std::bad_alloc).
  ///@{
  Vector(const Vector& other) : Vector(other.begin_, other.end_) {}
  Vector(Vector&& other) noexcept : Vector() { swap(other); }
  Vector& operator=(const Vector& other) {
    if (this != &other) {
      Vector copy(other);
      swap(copy);
    }
    return *this;
  }
  Vector& operator=(Vector&& other) noexcept {
    if (this != &other) {
      Vector taken(std::move(other));
      swap(taken);
    }
    return *this;
  }
  ///@}
  ~Vector() { Release(begin_, end_); }

  /// First element, one past the last, the element count, the elements allocated, whether empty.
  ///@{
  T* begin() noexcept { return begin_; }
  const T* begin() const noexcept { return begin_; }
  T* end() noexcept { return end_; }
  const T* end() const noexcept { return end_; }
  size_type size() const noexcept { return static_cast<size_type>(end_ - begin_); }
  size_type capacity() const noexcept { return static_cast<size_type>(capEnd_ - begin_); }
  bool empty() const noexcept { return begin_ == end_; }
  ///@}
  /// No bounds check.
  ///@{
  T& operator[](size_type i) noexcept { return begin_[i]; }
  const T& operator[](size_type i) const noexcept { return begin_[i]; }
  ///@}

  /// Exchanges the three pointers.
  void swap(Vector& other) noexcept {
    T* b = begin_;
    T* e = end_;
    T* c = capEnd_;
    begin_ = other.begin_;
    end_ = other.end_;
    capEnd_ = other.capEnd_;
    other.begin_ = b;
    other.end_ = e;
    other.capEnd_ = c;
  }

  /// Growing to n moves the elements into a new block of exactly n, the new ones copies of
  /// fill; shrinking destroys the elements from n on and keeps the block.
  void resize(size_type n, const T& fill = T()) {
    const size_type old = size();
    if (n < old) {
      std::destroy(begin_ + n, end_);
      end_ = begin_ + n;
    } else if (n > old) {
      T* block = Allocate(n);
      ConstructOrFree(block, [&] {
        std::uninitialized_fill(block + old, block + n, fill);
        try {
          Relocate(begin_, end_, block);
        } catch (...) {
          std::destroy(block + old, block + n);
          throw;
        }
      });
      Replace(block, n, n);
    }
  }

  /// Appends a copy of x (which may be an element of this vector). A full vector moves into a
  /// new block of exactly size + 1 elements, deliberately: see the class comment.
  void push_back(const T& x) {
    if (end_ != capEnd_) {
      ::new (static_cast<void*>(end_)) T(x);
      ++end_;
      return;
    }
    const size_type old = size();
    const size_type n = CheckedCount(static_cast<std::uint64_t>(old) + 1u);
    T* block = Allocate(n);
    ConstructOrFree(block, [&] {
      ::new (static_cast<void*>(block + old)) T(x);
      try {
        Relocate(begin_, end_, block);
      } catch (...) {
        block[old].~T();
        throw;
      }
    });
    Replace(block, n, n);
  }

  /// Lexicographic order with T's <: the first difference decides; a proper prefix is less.
  bool operator<(const Vector& other) const {
    const size_type n = size() < other.size() ? size() : other.size();
    for (size_type i = 0; i < n; ++i) {
      if (begin_[i] < other.begin_[i]) return true;
      if (other.begin_[i] < begin_[i]) return false;
    }
    return size() < other.size();
  }
  /// Same size and every element equal (T's ==).
  bool operator==(const Vector& other) const {
    if (size() != other.size()) return false;
    for (size_type i = 0; i < size(); ++i) {
      if (!(begin_[i] == other.begin_[i])) return false;
    }
    return true;
  }

  /// 4 + size × sizeof(T).
  template <typename U = T, typename = std::enable_if_t<detail::kVectorWireElement<U>>>
  std::uint32_t serializationSize() const noexcept {
    return 4u + size() * static_cast<std::uint32_t>(sizeof(T));  // bounded by kMaxBytes
  }
  /// Writes the count and the elements at pos and advances pos. Throws BufferOverflow
  /// ("little_endian", 111) when they do not fit before end; nothing is written then.
  template <typename U = T, typename = std::enable_if_t<detail::kVectorWireElement<U>>>
  void serialize(unsigned char*& pos, const unsigned char* end) const {
    little_endian::CheckSerializationSize(serializationSize(), pos, end);
    unsigned char* out = pos;
    little_endian::SerializeRaw<std::uint32_t>(size(), out, end);
    if (begin_ != end_) std::memcpy(out, begin_, size() * sizeof(T));  // little-endian host
    pos = out + size() * sizeof(T);
  }
  /// Replaces the contents with the vector at pos and advances pos past it. Throws
  /// DeserializationError ("little_endian", 124) when the input ends before the count or the
  /// elements it announces, before anything is allocated; the vector and pos are unchanged
  /// after any failure (std::bad_alloc included).
  template <typename U = T, typename = std::enable_if_t<detail::kVectorWireElement<U>>>
  void deserialize(const unsigned char*& pos, const unsigned char* end) {
    const unsigned char* in = pos;
    std::uint32_t n = 0;
    little_endian::DeserializeRaw(n, in, end);
    // A hostile count must not reserve memory the input cannot fill: the announced elements
    // have to be present before the block is allocated. (This is stricter than counting n bytes
    // from the count field, and computed in 64 bits so that n × width cannot wrap.)
    const std::uint64_t bytes = static_cast<std::uint64_t>(n) * sizeof(T);
    if (bytes > static_cast<std::uint64_t>(end - in)) {
      little_endian::detail::ThrowDeserializationSize();
    }
    Vector read;
    read.Adopt(Allocate(n), n, n);
    if (n != 0) std::memcpy(read.begin_, in, static_cast<std::size_t>(bytes));
    pos = in + bytes;
    swap(read);
  }

 private:
  static size_type CheckedCount(std::uint64_t n) {
    if (n > kMaxBytes / sizeof(T)) throw std::bad_alloc();
    return static_cast<size_type>(n);
  }
  // Raw storage for n elements; null for n = 0. The byte count is checked before it is formed.
  static T* Allocate(size_type n) {
    if (n == 0) return nullptr;
    CheckedCount(n);
    return static_cast<T*>(DLLMalloc(static_cast<unsigned>(n * sizeof(T))));
  }
  // Runs construct() on a fresh block; frees the block if it throws (construct() itself
  // destroys whatever it built).
  template <typename Construct>
  static void ConstructOrFree(T* block, Construct construct) {
    try {
      construct();
    } catch (...) {
      DLLFree(block);
      throw;
    }
  }
  // Builds [first, last) at `to`: moved when that cannot throw, copied otherwise (so that a
  // failure leaves the source intact). Strong guarantee.
  static void Relocate(T* first, T* last, T* to) {
    if constexpr (std::is_nothrow_move_constructible<T>::value) {
      std::uninitialized_copy(std::make_move_iterator(first), std::make_move_iterator(last), to);
    } else {
      std::uninitialized_copy(first, last, to);
    }
  }
  static void Release(T* first, T* last) noexcept {
    std::destroy(first, last);
    DLLFree(first);
  }
  void Adopt(T* block, size_type n, size_type capacity) noexcept {
    begin_ = block;
    end_ = block + n;
    capEnd_ = block + capacity;
  }
  // Installs a block whose elements were relocated from this vector's, then releases the old.
  void Replace(T* block, size_type n, size_type capacity) noexcept {
    T* oldBegin = begin_;
    T* oldEnd = end_;
    Adopt(block, n, capacity);
    Release(oldBegin, oldEnd);
  }

  T* begin_;
  T* end_;
  T* capEnd_;
};

}  // namespace kel
}  // namespace zo

#endif  // ZO_KEL_VECTOR_H
