// The program `sc3xx` as a process of its own, as a shell starts it.
//
// Every wait ends with what is waited for or with the program's end; the test's time limit stands behind both.
#pragma once

#include <string>
#include <vector>

namespace sc3xx::test {

class Program {
 public:
  // Standard output and standard error come in together.
  explicit Program(std::vector<std::string> arguments);
  // Kills it if it still runs.
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  // Reads until `words` have come out; false when the output ends without them.
  bool WaitFor(const std::string& words);
  // The same, from where the last successful wait ended.
  bool WaitForNext(const std::string& words);

  void Interrupt() const;
  void Terminate() const;
  // Without a chance to put anything in order.
  void Kill();

  void CloseOutput();

  // Reads what is left and gives the exit code, or minus the signal that ended it.
  int Wait();

  std::string text;  // all that has come out

 private:
  bool ReadSome();

  int process_ = -1;
  int output_ = -1;
  std::size_t seen_ = 0;
};

}  // namespace sc3xx::test
