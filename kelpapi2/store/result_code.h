// The codes that operations return and write into `errors`, and the exception that carries one
// through the library. Codes are negative; 0 is success. The public header and the manual page list
// them for callers.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

namespace kelp {

enum ResultCode : int32_t {
  kOk = 0,
  kInvalidArgument = -1,  // a null handle, a negative count, an unknown code or kind
  kLost = -2,             // the session is gone: server stopped, file deleted or replaced,
                          // process forked
  kTimedOut = -3,         // another writer, or the server, took longer than init_param seconds
  kUnknownName = -4,      // no object has this name or id
  kExists = -5,           // an object of this name is there already
  kNoParent = -6,         // the container does not exist, or cannot hold such an object
  kNotEmpty = -7,         // the object still has children
  kNoValue = -8,          // the point has no value, or none at or before the time
  kDenied = -9,           // login refused, or a right or permission is missing
  kStorageFull = -10,     // the disk is full; nothing was changed
  kDamaged = -11,         // the stored data are damaged
  kReadOnly = -12,        // a server that takes no writes, such as a standby
  kForeignStore = -13,    // not a store of this library, or of a newer version of it
  kOutOfMemory = -14,
  kConflict = -15,      // other writers got in the way every time: try again
  kEndOfRows = -16,     // the result has no further row, or none in this mode
  kNoConnection = -17,  // the server cannot be reached
  kInternal = -99,      // anything else; the line on standard error says what
};

// A call that failed as a whole. The text, if any, is one line for the operator.
class Failure : public std::runtime_error {
 public:
  Failure(ResultCode code, const std::string &text) : std::runtime_error(text), code_(code) {}
  explicit Failure(ResultCode code) : Failure(code, "") {}
  ResultCode code() const { return code_; }

 private:
  ResultCode code_;
};

}  // namespace kelp
