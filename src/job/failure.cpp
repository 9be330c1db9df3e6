#include "job/failure.h"

#include <array>
#include <cstdlib>
#include <cstring>

namespace sc3xxmon {

void Exception::Free::operator()(char* text) const noexcept {
  std::free(text);
}

// malloc, since a failed allocation must not throw a second failure out of the first.
bool Exception::Allocate(std::size_t length) noexcept {
  message_.reset(static_cast<char*>(std::malloc(length + 1)));
  messageLength_ = message_ ? length : 0;
  return message_ != nullptr;
}

void Exception::SetText(std::string_view text) noexcept {
  if (text.empty() || !Allocate(text.size())) {
    return;
  }
  std::memcpy(message_.get(), text.data(), text.size());
  message_.get()[text.size()] = '\0';
}

Exception::Exception(std::string_view text) noexcept {
  SetText(text);
}

Exception::Exception(const char* format, std::span<const FormatArgument> numbers) noexcept {
  const std::size_t length = FormatText(nullptr, 0, format, numbers);
  if (length > 0 && Allocate(length)) {
    FormatText(message_.get(), length + 1, format, numbers);
  }
}

Exception::Exception(const Exception& other) noexcept : std::exception(other), ErrorCode(other.ErrorCode) {
  SetText({other.message_.get(), static_cast<std::size_t>(other.messageLength_)});
}

const char* Exception::what() const noexcept {
  return message_ ? message_.get() : "Exception";
}

PrintCommException::PrintCommException(const char* format, std::uint32_t number) noexcept
    : PrintingException(format, std::array{FormatArgument(number)}) {}

PrintCommException::PrintCommException(const char* format, std::uint32_t first, std::uint32_t second) noexcept
    : PrintingException(format, std::array{FormatArgument(first), FormatArgument(second)}) {}

PrintCanceledException::PrintCanceledException(bool bySpooler) noexcept
    : PrintingException(bySpooler ? "Print job aborted by the spooler" : "Print job cancelled by the printer"),
      BySpooler(bySpooler) {}

PrintStatusException::PrintStatusException(const StatusRecord& record) noexcept
    : PrintingException("Bad status: %d", std::array{FormatArgument(record.Status())}), Record(record) {}

StatusErrorsException::StatusErrorsException(const StatusRecord& record, const PrinterErrors& errors) noexcept
    : PrintingException("Printing errors"), Record(record), Errors(errors) {}

void ThrowHResult(std::int32_t code) {
  throw HResultException(code, {});
}

}  // namespace sc3xxmon
