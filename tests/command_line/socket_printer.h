// A virtual printer on a Unix stream socket, played by a thread of the test: what a program does that stands in for a
// printer. It serves one connection after another until it goes.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "simulator/virtual_printer.h"

namespace sc3xx::test {

class SocketPrinter {
 public:
  // Throws std::system_error if the socket can't be made.
  SocketPrinter(std::string path, simulator::PrinterSettings settings);
  ~SocketPrinter();
  SocketPrinter(const SocketPrinter&) = delete;
  SocketPrinter& operator=(const SocketPrinter&) = delete;

  // The cable is pulled, once, when so many bytes have come in over the present connection.
  void UnplugAfter(std::size_t bytes) { unplugAfter_ = bytes; }

  // Waits until the last bytes of a connection that was closed are taken.
  std::vector<simulator::PrintedLabel> Printed();
  std::size_t Connections() const { return connections_; }

 private:
  void Serve();
  void ServeOne(int connection);
  bool TakeBytes(int connection, simulator::ClientId client, std::size_t& received);
  bool GiveAnswers(int connection, simulator::ClientId client);

  const std::string path_;
  int listener_ = -1;
  int wake_[2] = {-1, -1};
  std::mutex mutex_;
  std::condition_variable disconnected_;
  simulator::VirtualPrinter printer_;  // guarded by mutex_
  bool serving_ = false;               // guarded by mutex_
  std::atomic<std::size_t> unplugAfter_{0};
  std::atomic<std::size_t> connections_{0};
  std::thread thread_;
};

}  // namespace sc3xx::test
