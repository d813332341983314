// The binary form of parameters and results: big-endian numbers, and arrays of one dimension.
#pragma once

#include <libpq-fe.h>

#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <string>

#include "store/result_code.h"

namespace kelp::postgres {

// Types by their fixed object ids.
constexpr Oid kInt2 = 21, kInt4 = 23, kInt8 = 20, kText = 25, kFloat8 = 701;
constexpr Oid kInt2Array = 1005, kInt4Array = 1007, kTextArray = 1009, kFloat8Array = 1022;

// A parameter of a statement; type 0 leaves the type to the server.
struct Parameter {
  std::string bytes;
  Oid type = 0;
  bool binary = false;
  bool null = false;
};

template <typename Number>
void append_big_endian(std::string &bytes, Number number) {
  char buffer[sizeof number];
  std::memcpy(buffer, &number, sizeof number);
  if constexpr (std::endian::native == std::endian::little) {
    for (size_t i = sizeof number; i > 0; --i) bytes += buffer[i - 1];
  } else {
    bytes.append(buffer, sizeof number);
  }
}

template <typename Number>
Number read_big_endian(const char *bytes) {
  char buffer[sizeof(Number)];
  for (size_t i = 0; i < sizeof buffer; ++i) {
    buffer[i] = bytes[std::endian::native == std::endian::little ? sizeof buffer - 1 - i : i];
  }
  Number number;
  std::memcpy(&number, buffer, sizeof number);
  return number;
}

inline void append_array_header(std::string &bytes, Oid element, size_t count) {
  append_big_endian<int32_t>(bytes, count == 0 ? 0 : 1);  // dimensions
  append_big_endian<int32_t>(bytes, 0);                   // no nulls
  append_big_endian<uint32_t>(bytes, element);
  if (count == 0) return;
  append_big_endian<int32_t>(bytes, static_cast<int32_t>(count));
  append_big_endian<int32_t>(bytes, 1);  // first index
}

// An array whose entry i is entry(i).
template <typename Number, typename Entry>
Parameter number_array(Oid type, Oid element, size_t count, Entry &&entry) {
  Parameter parameter{{}, type, true};
  parameter.bytes.reserve(20 + count * (4 + sizeof(Number)));
  append_array_header(parameter.bytes, element, count);
  for (size_t i = 0; i < count; ++i) {
    append_big_endian<int32_t>(parameter.bytes, sizeof(Number));
    append_big_endian<Number>(parameter.bytes, entry(i));
  }
  return parameter;
}

inline Parameter int4_array(std::span<const int32_t> numbers) {
  return number_array<int32_t>(kInt4Array, kInt4, numbers.size(),
                               [&](size_t i) { return numbers[i]; });
}

inline Parameter text_array(std::span<const std::string> texts) {
  Parameter parameter{{}, kTextArray, true};
  append_array_header(parameter.bytes, kText, texts.size());
  for (const std::string &text : texts) {
    append_big_endian<int32_t>(parameter.bytes, static_cast<int32_t>(text.size()));
    parameter.bytes += text;
  }
  return parameter;
}

inline Parameter int2(int16_t number) {
  Parameter parameter{{}, kInt2, true};
  append_big_endian(parameter.bytes, number);
  return parameter;
}

inline Parameter int4(int32_t number) {
  Parameter parameter{{}, kInt4, true};
  append_big_endian(parameter.bytes, number);
  return parameter;
}

inline Parameter int8(int64_t number) {
  Parameter parameter{{}, kInt8, true};
  append_big_endian(parameter.bytes, number);
  return parameter;
}

inline Parameter float8(double number) {
  Parameter parameter{{}, kFloat8, true};
  append_big_endian(parameter.bytes, number);
  return parameter;
}

struct ResultDeleter {
  void operator()(PGresult *result) const { PQclear(result); }
};
using Result = std::unique_ptr<PGresult, ResultDeleter>;

[[noreturn]] inline void fail_malformed() {
  throw Failure(kInternal, "the server's answer is malformed");
}

// A number in a result. Fails where there is none of this size: no such row or column, or a null.
template <typename Number>
Number number_at(const Result &result, int row, int column) {
  if (PQgetlength(result.get(), row, column) != sizeof(Number)) fail_malformed();
  return read_big_endian<Number>(PQgetvalue(result.get(), row, column));
}

inline bool bool_at(const Result &result, int row, int column) {
  return number_at<char>(result, row, column) != 0;
}

// The number of rows, which is the one that is expected.
inline int rows_of(const Result &result, size_t expected) {
  const int rows = PQntuples(result.get());
  if (static_cast<size_t>(rows) != expected) fail_malformed();
  return rows;
}

}  // namespace kelp::postgres
