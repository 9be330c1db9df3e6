// The failures that the job engine and the LAN transport throw. The class carries the decision: handlers choose by
// class alone, and the record that some classes carry is the evidence for it.
//
//   std::exception
//     Exception
//       HResultException
//       CommunicationException
//         WsaCommException
//       PrintingException            never thrown itself: the family of a print in progress
//         PrintCommException         a transfer failed or the printer answered badly: labels go out again
//         PrintCanceledException     the job was deleted in the spooler or cancelled at the printer
//         CommErrorException         the printer complains of the communication
//         LockFailedException        someone else holds the printer
//         PrintStatusException       the printer reports an error without saying which
//         StatusErrorsException      the printer reports errors that a person can mend
//
// Making one never throws: where its text can't be allocated, a failure goes without one.
#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <span>
#include <string_view>

#include "diag/text_format.h"
#include "printer/status_record.h"

namespace sc3xxmon {

class Exception : public std::exception {
 public:
  explicit Exception(std::string_view text) noexcept;
  // `format` takes 32-bit numbers, each as %d.
  Exception(const char* format, std::span<const FormatArgument> numbers) noexcept;
  Exception(const Exception& other) noexcept;
  Exception& operator=(const Exception&) = delete;
  ~Exception() override = default;

  // The text, or "Exception" if there is none.
  const char* what() const noexcept override;

  std::uint64_t MessageLength() const { return messageLength_; }

  std::uint32_t ErrorCode = 0;  // the socket error of a WsaCommException; carried, and read by no handler

 private:
  struct Free {
    void operator()(char* text) const noexcept;
  };

  bool Allocate(std::size_t length) noexcept;
  void SetText(std::string_view text) noexcept;

  std::unique_ptr<char, Free> message_;
  std::uint64_t messageLength_ = 0;
};

class HResultException : public Exception {
 public:
  HResultException(std::int32_t code, std::string_view text) noexcept : Exception(text), HResult(code) {}

  std::int32_t HResult;
};

class CommunicationException : public Exception {
 public:
  using Exception::Exception;
};

class PrintingException : public Exception {
 public:
  using Exception::Exception;
};

class PrintCommException : public PrintingException {
 public:
  explicit PrintCommException(std::string_view text) noexcept : PrintingException(text) {}
  PrintCommException(const char* format, std::uint32_t number) noexcept;
  PrintCommException(const char* format, std::uint32_t first, std::uint32_t second) noexcept;
};

class PrintCanceledException : public PrintingException {
 public:
  explicit PrintCanceledException(bool bySpooler) noexcept;

  bool BySpooler;  // the spooler aborted the job; otherwise the printer cancelled it
};

class CommErrorException : public PrintingException {
 public:
  using PrintingException::PrintingException;
};

class LockFailedException : public PrintingException {
 public:
  using PrintingException::PrintingException;
};

class PrintStatusException : public PrintingException {
 public:
  explicit PrintStatusException(const StatusRecord& record) noexcept;

  StatusRecord Record;
};

class StatusErrorsException : public PrintingException {
 public:
  StatusErrorsException(const StatusRecord& record, const PrinterErrors& errors) noexcept;

  StatusRecord Record;
  PrinterErrors Errors;
};

// Throws an HResultException without a text. For callers of platform functions that answer with such a code; nothing
// calls it today.
[[noreturn]] void ThrowHResult(std::int32_t code);

}  // namespace sc3xxmon
