// HTTP header lines and the sorted list that requests and replies keep them in.
//
// Not locked: one thread at a time uses a list.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "foundation/RWCString.h"
#include "foundation/RWTValOrderedVector.h"

namespace orla {

/// A header: a label, a value, and the sort class that fixes its place in a list (a lower class
/// comes first). Each derived class gives its value, of a type of its own, by getValue().
class RWHttpHeaderBase {
 public:
  static constexpr unsigned kContentLengthSortClass = 0;
  static constexpr unsigned kHostSortClass = 1;
  static constexpr unsigned kGenericSortClass = 3;

  RWHttpHeaderBase(const RWHttpHeaderBase&) = default;
  RWHttpHeaderBase(RWHttpHeaderBase&&) = default;
  RWHttpHeaderBase& operator=(const RWHttpHeaderBase&) = default;
  RWHttpHeaderBase& operator=(RWHttpHeaderBase&&) = default;
  virtual ~RWHttpHeaderBase() = default;

  /// The header line without its line end: label, ": ", value text.
  virtual RWCString asString() const;
  virtual const RWCString& getLabel() const { return label_; }
  virtual RWCString getValueText() const = 0;

  unsigned getSortClass() const noexcept { return sortClass_; }

 protected:
  RWHttpHeaderBase(RWCString label, unsigned sortClass);

 private:
  RWCString label_;
  unsigned sortClass_;
};

/// A header whose value is a text, kept as it stands.
class RWHttpGenericHeader final : public RWHttpHeaderBase {
 public:
  RWHttpGenericHeader(RWCString label, RWCString value, unsigned sortClass = kGenericSortClass);
  /// The label, value text and sort class of any header.
  explicit RWHttpGenericHeader(const RWHttpHeaderBase& other);

  const RWCString& getValue() const noexcept { return value_; }
  RWCString getValueText() const override { return value_; }

 private:
  RWCString value_;
};

/// "Content-Length": a body's length in bytes.
class RWHttpContentLengthHeader : public RWHttpHeaderBase {
 public:
  explicit RWHttpContentLengthHeader(std::int32_t length);
  /// Reads the value as the C library's atol does: white space, a sign, digits, the rest ignored. A
  /// minus sign gives a negative length without complaint. Lengths from 2^31 to 2^32 - 1 keep their
  /// 32 bits, so that read as unsigned they are exact; what does not fit into 32 bits is refused,
  /// since a shorter body would pass for the whole. 0 is written "0" and no other way.
  /// RWHttpHeaderParseError: another label, or no such number.
  explicit RWHttpContentLengthHeader(const RWHttpGenericHeader& header);

  std::int32_t getValue() const noexcept { return length_; }
  RWCString getValueText() const override;

 private:
  std::int32_t length_;
};

/// "Host": a host's name and a port, which is always written, also when it is 80.
class RWHttpHostHeader : public RWHttpHeaderBase {
 public:
  struct Value {
    RWCString host;
    std::uint32_t port;
  };

  explicit RWHttpHostHeader(RWCString host, std::uint32_t port = 80);
  /// Splits the value at ":": the host, then the port (80 when missing or empty).
  /// RWHttpHeaderParseError: another label, or a port that is no number as for a length.
  explicit RWHttpHostHeader(const RWHttpGenericHeader& header);

  const Value& getValue() const noexcept { return value_; }
  RWCString getValueText() const override;

 private:
  Value value_;
};

/// Headers of which no two have labels that are equal when case is ignored, sorted by sort class
/// and, within a class, by label, byte by byte.
class RWHttpHeaderList {
 public:
  using const_iterator = RWTValOrderedVector<RWHttpGenericHeader>::const_iterator;
  /// What find() answers when there is no such header.
  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

  /// False, and nothing changed, when a header of that label is there already.
  bool insert(const RWHttpHeaderBase& header);
  /// The position of the header of that label, case ignored, or npos.
  std::size_t find(std::string_view label) const noexcept;
  /// The value text of the header of that label; empty when there is none.
  RWCString getValue(std::string_view label) const;
  /// False when there was none.
  bool remove(std::string_view label);

  std::size_t entries() const noexcept { return headers_.entries(); }
  const RWHttpGenericHeader& operator[](std::size_t index) const { return headers_[index]; }
  const_iterator begin() const noexcept { return headers_.begin(); }
  const_iterator end() const noexcept { return headers_.end(); }

  /// Each header line with its "\r\n".
  RWCString asString() const;
  /// Appends asString() to `text`.
  void appendTo(RWCString& text) const;

 private:
  friend class RWHttpHeaderCollector;

  RWTValOrderedVector<RWHttpGenericHeader> headers_;
};

/// Gathers the header lines of a reply into a list. Lines of one label merge: their values are
/// joined by ", " in the order of the lines, under the label as the last line writes it. The time
/// grows with the size of the head alone, however many headers a server sends.
class RWHttpHeaderCollector {
 public:
  void add(std::string_view label, std::string_view value);
  /// The list of what was added; the collector is empty afterwards.
  RWHttpHeaderList take();

 private:
  /// Label and value stand one behind the other in the text.
  struct Line {
    std::size_t start;
    std::size_t labelSize;
    std::size_t valueSize;
  };

  std::string_view labelOf(const Line& line) const;
  std::string_view valueOf(const Line& line) const;

  RWCString text_;  // Of all the lines, as they came.
  std::vector<Line> lines_;
};

}  // namespace orla
