#include "support/scripted_port.h"

#include <algorithm>

namespace sc3xxmon::test {

// The port table's functions; a port's handle is its address.
struct ScriptedPortFunctions {
  static ScriptedPort& Of(HANDLE port) { return *static_cast<ScriptedPort*>(port); }

  static BOOL WINAPI Open(HANDLE monitor, LPWSTR, HANDLE* handle) {
    ScriptedPort& port = Of(monitor);
    if (port.failOpen) {
      return port.Fail();
    }
    ++port.opens;
    *handle = monitor;
    return TRUE;
  }
  static BOOL WINAPI StartDoc(HANDLE handle, LPWSTR printerName, DWORD jobId, DWORD level, LPBYTE docInfo) {
    ScriptedPort& port = Of(handle);
    port.documents.push_back({printerName != nullptr ? printerName : L"", jobId, level, docInfo});
    if (port.failStartDocument) {
      return port.Fail();
    }
    ++port.startedDocuments;
    port.Tell("start document");
    return TRUE;
  }
  static BOOL WINAPI Write(HANDLE handle, LPBYTE bytes, DWORD size, LPDWORD written) {
    return Of(handle).Write(bytes, size, written);
  }
  static BOOL WINAPI Read(HANDLE handle, LPBYTE bytes, DWORD size, LPDWORD read) {
    return Of(handle).Read(bytes, size, read);
  }
  static BOOL WINAPI EndDoc(HANDLE handle) {
    ++Of(handle).endedDocuments;
    Of(handle).Tell("end document");
    return Of(handle).failEndDocument ? Of(handle).Fail() : TRUE;
  }
  static BOOL WINAPI Close(HANDLE handle) {
    ++Of(handle).closes;
    return Of(handle).failClose ? Of(handle).Fail() : TRUE;
  }
  static BOOL WINAPI SetTimeOuts(HANDLE handle, LPCOMMTIMEOUTS timeouts, DWORD argument) {
    ScriptedPort& port = Of(handle);
    port.timeouts.push_back(*timeouts);
    port.timeoutArguments.push_back(argument);
    return port.failTimeouts ? port.Fail() : TRUE;
  }
};

MONITOR2 ScriptedPort::Table() {
  MONITOR2 table{};
  table.cbSize = sizeof(table);
  table.pfnOpenPort = ScriptedPortFunctions::Open;
  table.pfnStartDocPort = ScriptedPortFunctions::StartDoc;
  table.pfnWritePort = ScriptedPortFunctions::Write;
  table.pfnReadPort = ScriptedPortFunctions::Read;
  table.pfnEndDocPort = ScriptedPortFunctions::EndDoc;
  table.pfnClosePort = ScriptedPortFunctions::Close;
  table.pfnSetPortTimeOuts = ScriptedPortFunctions::SetTimeOuts;
  return table;
}

ScriptedPort& ScriptedPort::Answers(const ByteString& bytes) {
  answers_.push_back({bytes, false});
  return *this;
}

ScriptedPort& ScriptedPort::FailsRead() {
  return FailsReadWith({});
}

ScriptedPort& ScriptedPort::FailsReadWith(const ByteString& bytes) {
  answers_.push_back({bytes, true});
  return *this;
}

void ScriptedPort::FailWrite(std::size_t n) {
  writeFaults_.push_back({writeCalls + n, true, std::nullopt});
}

void ScriptedPort::FailWriteWith(std::size_t count, std::size_t n) {
  writeFaults_.push_back({writeCalls + n, true, count});
}

void ScriptedPort::LimitWrite(std::size_t count, std::size_t n) {
  writeFaults_.push_back({writeCalls + n, false, count});
}

ByteString ScriptedPort::AllWritten() const {
  ByteString all;
  for (const ByteString& write : writes) {
    all.insert(all.end(), write.begin(), write.end());
  }
  return all;
}

bool ScriptedPort::HasWrite(const ByteString& bytes) const {
  return std::find(writes.begin(), writes.end(), bytes) != writes.end();
}

BOOL ScriptedPort::Fail() {
  if (setLastError) {
    setLastError(failureCode);
  }
  return FALSE;
}

void ScriptedPort::Tell(const std::string& line) {
  if (story_ != nullptr) {
    story_->push_back(line);
  }
}

BOOL ScriptedPort::Write(const std::uint8_t* bytes, std::size_t size, DWORD* written) {
  ++writeCalls;
  if (onWrite) {
    onWrite();
  }
  if (onBytes) {
    onBytes(bytes, size);
  }
  std::size_t taken = std::min(size, everyWriteTakes_);
  for (const WriteFault& fault : writeFaults_) {
    if (fault.call == writeCalls && fault.fails) {
      Tell("write fails");
      if (fault.count) {
        *written = static_cast<DWORD>(*fault.count);
      }
      return Fail();
    }
    if (fault.call == writeCalls) {
      taken = std::min(taken, fault.count.value_or(taken));
    }
  }
  writes.emplace_back(bytes, bytes + taken);
  Tell("write " + Brief(writes.back()));
  *written = static_cast<DWORD>(taken);
  return TRUE;
}

ScriptedPort::Answer ScriptedPort::NextAnswer(std::size_t asked) {
  if (!answers_.empty()) {
    Answer answer = std::move(answers_.front());
    answers_.pop_front();
    return answer;
  }
  if (responder) {
    return responder(asked);
  }
  switch (asked) {
    case 32:
      return {PlainStatus()};
    case 70:
      return {DualRollStatus()};
    default:
      return {ByteString(asked, 0)};
  }
}

BOOL ScriptedPort::Read(std::uint8_t* bytes, std::size_t size, DWORD* read) {
  ++readCalls;
  if (onRead) {
    onRead();
  }
  const Answer answer = NextAnswer(size);
  const std::size_t count = std::min(size, answer.bytes.size());
  std::copy_n(answer.bytes.begin(), count, bytes);
  if (answer.fails) {
    if (count > 0) {
      *read = static_cast<DWORD>(count);
    }
    Tell("read fails");
    return Fail();
  }
  *read = static_cast<DWORD>(count);
  Tell("read " + std::to_string(count));
  return TRUE;
}

}  // namespace sc3xxmon::test
