// A CLangMon over a scripted port with one current job, as the engine and the printer conversation see it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

#include "job/print_job.h"
#include "monitor/langmon.h"
#include "monitor/options.h"
#include "support/bytes.h"
#include "support/scripted_port.h"
#include "support/test_host.h"

namespace sc3xxmon::test {

class MonitorFixture : public ::testing::Test {
 protected:
  MonitorFixture() {
    port.setLastError = [this](DWORD code) { host.lastError = code; };
    monitor.Monitor = port.Table();
    monitor.hPort = &port;
    TestHost::SetDebugLevel(1);
  }

  // Puts a job of the given model row on the monitor.
  CPrintJob& StartJob(std::uint32_t model = 5) {
    job = std::make_shared<CPrintJob>(7, L"Labels");
    job->Model = model;
    monitor.PushJob(job);
    return *job;
  }
  // The same, with a stream already parsed.
  CPrintJob& StartJob(std::uint32_t model, const ByteString& stream) {
    StartJob(model);
    job->ProcessData(stream.data(), stream.size());
    return *job;
  }

  Story story;
  TestHost host{&story};
  ScriptedPort port{&story};
  CLangMon monitor{L"USB001"};
  std::shared_ptr<CPrintJob> job;
};

}  // namespace sc3xxmon::test
