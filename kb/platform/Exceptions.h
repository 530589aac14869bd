// The exception hierarchy. Everything the library throws derives from EException and so from std::exception;
// `try` in the language catches all of it except EAbort.
#pragma once

#include <cstddef>
#include <exception>
#include <string>
#include <utility>

namespace kb {

/// Base class of every exception of the library; what() is the complete message in UTF-8.
class EException : public std::exception {
 public:
  explicit EException(std::string message) : message_(std::move(message)) {}
  [[nodiscard]] const char* what() const noexcept override { return message_.c_str(); }
  [[nodiscard]] const std::string& Message() const noexcept { return message_; }
  /// Replaces the text; used where a layer adds the place to a message on its way up.
  void SetMessage(std::string message) { message_ = std::move(message); }

 private:
  std::string message_;
};

/// Silent abort: raised by `exit`, passes every `try` of the language, ends the host's evaluation.
class EAbort : public EException {
 public:
  EAbort() : EException("Operation aborted") {}
};

/// A bad index or a missing key of a list or table.
class EListError : public EException {
 public:
  using EException::EException;
};

[[noreturn]] inline void RaiseListIndex(long long index) {
  throw EListError("List index out of bounds (" + std::to_string(index) + ")");
}

/// Raises EListError "List index out of bounds (%d)" unless `index` is one of the places 0 to `count` - 1.
inline void CheckListIndex(long long index, long long count) {
  if (index < 0 || index >= count) RaiseListIndex(index);
}

/// The item at `index`; raises EListError for a bad one.
template <class Items>
[[nodiscard]] auto& ItemAt(Items& items, long long index) {
  CheckListIndex(index, static_cast<long long>(items.size()));
  return items[static_cast<size_t>(index)];
}

/// Removal from an empty hash table.
class EGHashtableError : public EException {
 public:
  using EException::EException;
};

/// A text that is no number, or an assignment between classes that do not fit.
class EConvertError : public EException {
 public:
  using EException::EException;
};

/// A checked cast to a class that the object does not have.
class EInvalidCast : public EException {
 public:
  using EException::EException;
};

/// A stream or file that cannot be opened, read or written; the message holds the path.
class EStreamError : public EException {
 public:
  using EException::EException;
};

/// A floating-point operation outside its domain.
class EMathError : public EException {
 public:
  using EException::EException;
};

/// Integer division by zero.
class EDivByZero : public EMathError {
 public:
  using EMathError::EMathError;
};

/// Nesting or recursion that went beyond the available stack.
class ERecursionError : public EException {
 public:
  using EException::EException;
};

/// Lets work that has begun go on past an exception of a step, such as one of a host's handler: the first
/// exception is kept, and goes on when all is done.
class TDelayedError {
 public:
  template <class Step>
  void Run(Step&& step) {
    try {
      step();
    } catch (...) {
      if (!error_) error_ = std::current_exception();
    }
  }
  [[nodiscard]] explicit operator bool() const noexcept { return error_ != nullptr; }
  void Rethrow() const {
    if (error_) std::rethrow_exception(error_);
  }

 private:
  std::exception_ptr error_;
};

/// Base of the exceptions of the knowledge-base library proper.
class EQDException : public EException {
 public:
  using EException::EException;
};

}  // namespace kb
