// HTTP headers, and the sorted list that holds the headers of a request or a reply.
//
// There are no locks: one thread at a time uses a list.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "foundation/RWCString.h"
#include "foundation/RWTValOrderedVector.h"

namespace orla {

/// A header: a label, a value, and a sort class, which determines its place in a list (lower
/// classes come first). Each derived class has its own type of value, which getValue() returns.
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

/// A header whose value is a text, which is stored unchanged.
class RWHttpGenericHeader final : public RWHttpHeaderBase {
 public:
  RWHttpGenericHeader(RWCString label, RWCString value, unsigned sortClass = kGenericSortClass);
  /// Copies the label, the value text and the sort class of any header.
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
  /// Reads the value in the same way as atol(): white space, a sign and digits. Ignores the rest.
  /// - A minus sign gives a negative length.
  /// - Lengths from 2^31 to 2^32 - 1 keep their 32 bits, so that they are exact as unsigned
  ///   numbers.
  /// - A number that does not fit into 32 bits is invalid, because a shorter body would look
  ///   complete.
  /// - A length of 0 is valid only if the value is "0".
  ///
  /// Throws RWHttpHeaderParseError if the label is another one or the value is invalid.
  explicit RWHttpContentLengthHeader(const RWHttpGenericHeader& header);

  std::int32_t getValue() const noexcept { return length_; }
  RWCString getValueText() const override;

 private:
  std::int32_t length_;
};

/// "Host": a host name and a port. The port is always written, also if it is 80.
class RWHttpHostHeader : public RWHttpHeaderBase {
 public:
  struct Value {
    RWCString host;
    std::uint32_t port;
  };

  explicit RWHttpHostHeader(RWCString host, std::uint32_t port = 80);
  /// Splits the value at ":" into the host and the port, which is 80 if it is missing or empty.
  /// Ignores a second ":" and the text after it. Reads the port in the same way as
  /// RWHttpContentLengthHeader reads a length. Throws RWHttpHeaderParseError if the label is
  /// another one or the port is invalid.
  explicit RWHttpHostHeader(const RWHttpGenericHeader& header);

  const Value& getValue() const noexcept { return value_; }
  RWCString getValueText() const override;

 private:
  Value value_;
};

/// A list of headers. No two labels are equal when case is ignored. The headers are sorted by sort
/// class and, within a class, by label, byte by byte.
class RWHttpHeaderList {
 public:
  using const_iterator = RWTValOrderedVector<RWHttpGenericHeader>::const_iterator;
  /// The result of find() if there is no such header.
  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

  /// Returns false and changes nothing if the list already has a header with that label.
  bool insert(const RWHttpHeaderBase& header);
  /// Returns the position of the header with that label, in any case, or npos.
  std::size_t find(std::string_view label) const noexcept;
  /// Returns the value text of the header with that label, or an empty text if there is none.
  RWCString getValue(std::string_view label) const;
  /// Returns false if there is no header with that label.
  bool remove(std::string_view label);

  std::size_t entries() const noexcept { return headers_.entries(); }
  const RWHttpGenericHeader& operator[](std::size_t index) const { return headers_[index]; }
  const_iterator begin() const noexcept { return headers_.begin(); }
  const_iterator end() const noexcept { return headers_.end(); }

  /// Returns each header line followed by "\r\n".
  RWCString asString() const;
  /// Appends asString() to `text`.
  void appendTo(RWCString& text) const;

 private:
  friend class RWHttpHeaderCollector;

  RWTValOrderedVector<RWHttpGenericHeader> headers_;
};

/// Collects the header lines of a reply into a list. Lines with the same label are merged: their
/// values are joined by ", " in the order of the lines, and the label is written as in the last
/// line. A head of n bytes takes at most O(n log n) time, so that a server cannot slow an agent
/// down with many headers.
class RWHttpHeaderCollector {
 public:
  void add(std::string_view label, std::string_view value);
  /// Returns the list of the added headers. The collector is empty afterwards.
  RWHttpHeaderList take();

 private:
  /// The label is at `start` in the text, and the value follows it.
  struct Line {
    std::size_t start;
    std::size_t labelSize;
    std::size_t valueSize;
  };

  std::string_view labelOf(const Line& line) const;
  std::string_view valueOf(const Line& line) const;

  RWCString text_;  // The labels and values of all lines, in the order in which they were added.
  std::vector<Line> lines_;
};

}  // namespace orla
