// A port that plays a script: what it is to answer, which calls are to fail. Records everything that is written to it.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "sc3xxmon/spooler_abi.h"

#include "support/bytes.h"
#include "support/story.h"

namespace sc3xxmon::test {

class ScriptedPort {
 public:
  explicit ScriptedPort(Story* story = nullptr) : story_(story) {}
  ScriptedPort(const ScriptedPort&) = delete;
  ScriptedPort& operator=(const ScriptedPort&) = delete;

  // The table of this port, all functions filled. Open it with `hMonitorPort` = this, or use `this` as the handle.
  MONITOR2 Table();

  // What a read gives: bytes (fewer than asked for make a short read), or a failed call.
  struct Answer {
    ByteString bytes;
    bool fails = false;  // a failed call may have stored bytes and their count all the same
  };
  // Answers to the next reads, in order. When they are used up, a read gives the default answer of its length: a ready
  // plain record (32), a ready dual-roll response (70), or no firmware information (34, zero bytes).
  ScriptedPort& Answers(const ByteString& bytes);
  ScriptedPort& FailsRead();
  // The call fails although these bytes came, and their count is stored.
  ScriptedPort& FailsReadWith(const ByteString& bytes);

  // The n-th write from now (1 is the next) fails and stores no count, fails although it took `count` bytes and says so,
  // or takes `count` bytes.
  void FailWrite(std::size_t n = 1);
  void FailWriteWith(std::size_t count, std::size_t n = 1);
  void LimitWrite(std::size_t count, std::size_t n = 1);
  void LimitEveryWrite(std::size_t count) { everyWriteTakes_ = count; }

  // All bytes written so far, in one.
  ByteString AllWritten() const;
  // True if `bytes` were one whole write.
  bool HasWrite(const ByteString& bytes) const;

  // A document as it was asked for.
  struct Document {
    std::wstring printerName;
    DWORD jobId = 0;
    DWORD level = 0;
    const void* docInfo = nullptr;
  };

  std::vector<ByteString> writes;       // each successful write, as far as it was taken
  std::vector<COMMTIMEOUTS> timeouts;   // each set of time-outs
  std::vector<DWORD> timeoutArguments;  // what came with each
  std::vector<Document> documents;      // each document that was asked for, refused ones too
  std::size_t writeCalls = 0;
  std::size_t readCalls = 0;
  std::size_t opens = 0;
  std::size_t closes = 0;
  std::size_t startedDocuments = 0;
  std::size_t endedDocuments = 0;
  bool failOpen = false;
  bool failStartDocument = false;
  bool failTimeouts = false;
  bool failEndDocument = false;
  bool failClose = false;
  DWORD failureCode = ERROR_GEN_FAILURE;         // last error of every failed call
  std::function<void(DWORD code)> setLastError;  // where it goes
  std::function<void()> onWrite;                 // runs before each write
  std::function<void()> onRead;                  // runs before each read
  // Sees the caller's own bytes, where they stand, before each write.
  std::function<void(const std::uint8_t* bytes, std::size_t size)> onBytes;
  // When set, answers every read that has no scripted answer; `written` is all that was written so far.
  std::function<Answer(std::size_t asked)> responder;

 private:
  struct WriteFault {
    std::size_t call;
    bool fails;
    std::optional<std::size_t> count;  // none is stored where a failed call has none
  };

  BOOL Write(const std::uint8_t* bytes, std::size_t size, DWORD* written);
  BOOL Read(std::uint8_t* bytes, std::size_t size, DWORD* read);
  Answer NextAnswer(std::size_t asked);
  BOOL Fail();
  void Tell(const std::string& line);

  Story* story_;
  std::deque<Answer> answers_;
  std::deque<WriteFault> writeFaults_;
  std::size_t everyWriteTakes_ = SIZE_MAX;

  friend struct ScriptedPortFunctions;
};

}  // namespace sc3xxmon::test
