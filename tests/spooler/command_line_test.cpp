// The command line as a person meets it, with a monitor of the test's own behind the door.
#include "apps/sc3xx/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "platform/posix/settings_names.h"
#include "spooler/scripted_monitor.h"

namespace sc3xx::test {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

// Acknowledges every label of a job with the job's last bytes, and sends nothing to the port.
class ObligingMonitor {
 public:
  static int SetHost(const Sc3xxHost* table) {
    if (table != nullptr) {
      Self().host = *table;
    }
    ++Self().hostsSet;
    return 1;
  }

  static MONITOR2* Initialize(PMONITORINIT init, HANDLE* monitor) {
    *monitor = nullptr;
    static MONITOR2 table = MakeTable();
    return init->bLocal != 0 ? &table : nullptr;
  }

  static ObligingMonitor& Self() {
    static ObligingMonitor self;
    return self;
  }

  static MonitorDoor Door() {
    Self() = ObligingMonitor();
    return {SetHost, Initialize};
  }

  Sc3xxHost host{};
  int hostsSet = 0;
  DWORD labels = 0;   // what it acknowledges of each job
  DWORD command = 0;  // what it asks of the job instead of printing it, once
  bool opens = true;
  bool opensBelow = false;  // takes the port for one that the next monitor serves
  DWORD startError = 0;
  std::wstring portName;
  std::wstring hostOfPrinter;  // where the printer's entries lead to
  std::vector<DWORD> jobs;
  std::vector<DWORD> writes;
  std::wstring printerName;

 private:
  static MONITOR2 MakeTable() {
    MONITOR2 table{};
    table.pfnOpenPortEx = [](HANDLE, HANDLE below, LPWSTR name, LPWSTR printer, HANDLE* handle,
                             MONITOR2* next) -> BOOL {
      Self().portName = name;
      Self().printerName = printer;
      Self().hostOfPrinter = Self().HostOf(printer);
      *handle = &Self();
      if (Self().opensBelow) {
        return next->pfnOpenPort(below, name, handle);
      }
      return Self().opens ? TRUE : FALSE;
    };
    table.pfnStartDocPort = [](HANDLE, LPWSTR, DWORD jobId, DWORD, LPBYTE) -> BOOL {
      Self().jobs.push_back(jobId);
      Self().host.SetLastError(Self().host.context, Self().startError);
      return Self().startError == 0 ? TRUE : FALSE;
    };
    table.pfnWritePort = [](HANDLE, LPBYTE, DWORD size, LPDWORD written) -> BOOL {
      return Self().Write(size, written);
    };
    table.pfnEndDocPort = [](HANDLE) -> BOOL { return TRUE; };
    table.pfnClosePort = [](HANDLE) -> BOOL { return TRUE; };
    return table;
  }

  std::wstring Value(const std::wstring& key, const wchar_t* name) const {
    wchar_t text[200] = L"";
    DWORD size = sizeof(text);
    void* const bytes = text;
    host.QueryValue(host.context, key.c_str(), name, static_cast<LPBYTE>(bytes), &size);
    return text;
  }

  std::wstring HostOf(const std::wstring& printer) const {
    namespace platform = sc3xxmon::platform;
    const std::wstring port = Value(std::wstring(platform::kPrintersKey) + printer, L"Port");
    return Value(std::wstring(platform::kPortsKey) + port, L"HostName");
  }

  BOOL Write(DWORD size, DWORD* written) {
    writes.push_back(size);
    *written = size;
    HANDLE printer = nullptr;
    host.OpenPrinterW(host.context, printerName.data(), &printer, nullptr);
    BOOL result = TRUE;
    if (command != 0) {
      host.SetJobW(host.context, printer, jobs.back(), 0, nullptr, std::exchange(command, 0));
      result = FALSE;
    } else {
      JOB_INFO_1W fields{};
      fields.PagesPrinted = labels;
      fields.Status = JOB_STATUS_COMPLETE;
      void* const bytes = &fields;
      host.SetJobW(host.context, printer, jobs.back(), 1, static_cast<LPBYTE>(bytes), 0);
    }
    host.ClosePrinter(host.context, printer);
    return result;
  }
};

class CommandLineTest : public ::testing::Test {
 protected:
  CommandLineTest() : folder(fs::path(::testing::TempDir()) / ("sc3xx_" + Name())) {
    unsetenv("SC3XXMON_CONFIG");
    fs::remove_all(folder);
    fs::create_directories(folder);
  }
  ~CommandLineTest() override { fs::remove_all(folder); }

  static std::string Name() {
    std::string name = ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::replace(name.begin(), name.end(), '/', '_');
    return name;
  }

  std::string File(const std::string& name, const std::string& content) const {
    const fs::path path = folder / name;
    std::ofstream(path, std::ios::binary) << content;
    return path.string();
  }

  // 16 by 2 dots.
  std::string PictureFile(const std::string& name = "label.pbm") const {
    return File(name, "P1\n16 2\n1010101010101010 0101010101010101\n");
  }

  std::string JobFile(const std::string& name, int labels) const {
    std::string job("\x1Bs\1\0\0\0", 6);
    for (int i = 1; i <= labels; ++i) {
      job += std::string("\x1Bn", 2) + static_cast<char>(i) + '\0';
      job += std::string(
                 "\x1B"
                 "D\1\0\1\0\0\0\10\0\0\0\x55",
                 13) +
             "\x1BG";
    }
    return File(name, job + "\x1BQ");
  }

  int Run(const std::vector<std::string>& arguments) {
    Console console{out, err, false, false, 80};
    return RunCommandLine(arguments, console, door);
  }

  fs::path folder;
  std::ostringstream out;
  std::ostringstream err;
  MonitorDoor door = ObligingMonitor::Door();
  ObligingMonitor& monitor = ObligingMonitor::Self();
};

// ------------------------------------------------------------------------------------------------ wrong use

struct WrongUse {
  const char* what;
  std::vector<std::string> arguments;
  const char* words;
};

class WrongUseTest : public CommandLineTest, public ::testing::WithParamInterface<WrongUse> {};

TEST_P(WrongUseTest, ExitsWithTwoAndSaysWhatIsRight) {
  std::vector<std::string> arguments = GetParam().arguments;
  for (std::string& argument : arguments) {
    argument = argument == "PICTURE" ? PictureFile() : argument;
  }
  EXPECT_EQ(Run(arguments), 2);
  EXPECT_THAT(err.str(), HasSubstr(GetParam().words));
  EXPECT_THAT(err.str(), StartsWith("sc3xx"));
  EXPECT_THAT(out.str(), IsEmpty());
  EXPECT_THAT(monitor.jobs, IsEmpty()) << "nothing may be printed";
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, WrongUseTest,
    ::testing::Values(
        WrongUse{"Nothing", {}, "subcommand is required"},
        WrongUse{"UnknownCommand", {"pirnt", "x"}, "did you mean print?"},
        WrongUse{"NoFile", {"print"}, "FILE is required"},
        WrongUse{"UnknownFlag", {"print", "PICTURE", "--colour"}, "--colour"},
        WrongUse{"Port", {"print", "PICTURE", "--port", "lpt1"}, "such as usb:/dev/usb/lp0"},
        WrongUse{"PortWithoutPath", {"print", "PICTURE", "--port", "usb:"}, "\"usb:\" is no port"},
        WrongUse{"Model", {"print", "PICTURE", "--model", "SC999"}, "there is no model \"SC999\"; known are"},
        WrongUse{"ModelRow", {"print", "PICTURE", "--model", "10"}, "there is no model \"10\""},
        WrongUse{"SetName", {"print", "PICTURE", "--set", "SendIPH=1"}, "did you mean SendIPHs?"},
        WrongUse{"SetNumber", {"print", "PICTURE", "--set", "SendIPHs=yes"}, "must be a whole number"},
        WrongUse{"Fault", {"print", "PICTURE", "--fault", "fire"}, "fire"},
        WrongUse{"Speed", {"print", "PICTURE", "--speed", "fast"}, "is no speed"},
        WrongUse{"SpeedZero", {"print", "PICTURE", "--speed", "0"}, "is no speed"},
        WrongUse{"Buffer", {"print", "PICTURE", "--buffer", "0"}, "--buffer"},
        WrongUse{"OutOnADevice", {"print", "PICTURE", "--port", "usb:/dev/null", "--out", "x"}, "--out works with"},
        WrongUse{"FaultOnADevice",
                 {"print", "PICTURE", "--port", "usb:/dev/null", "--fault", "bay=2"},
                 "--fault works with"},
        WrongUse{"OutOnTheNetwork",
                 {"print", "PICTURE", "--port", "lan:10.0.0.7", "--out", "x"},
                 "give --out to its `sc3xx simulate`"},
        WrongUse{"FaultOnTheNetwork",
                 {"print", "PICTURE", "--port", "lan:10.0.0.7", "--fault", "bay=2"},
                 "give --fault to its `sc3xx simulate`"},
        WrongUse{"PortWithoutHost", {"print", "PICTURE", "--port", "lan:"}, "\"lan:\" is no port"},
        WrongUse{"PortNumber", {"print", "PICTURE", "--port", "lan:10.0.0.7:9100"}, "Write lan:10.0.0.7"},
        WrongUse{"HostOfGarbage", {"print", "PICTURE", "--port", "lan:!?"}, "\"!?\" is neither a printer"},
        WrongUse{"InputTwice", {"print", "-", "-"}, "can be printed once only"},
        WrongUse{"Config", {"print", "PICTURE", "--config", "/nowhere.toml"}, "/nowhere.toml: the settings file"},
        WrongUse{"Dither", {"encode", "PICTURE", "-o", "x.kpl", "--dither", "none"}, "floyd-steinberg"},
        WrongUse{"NoOutput", {"encode", "PICTURE"}, "--output is required"},
        WrongUse{"InspectTwo", {"inspect", "a", "b"}, "b"}),
    [](const auto& tested) { return tested.param.what; });

TEST_F(CommandLineTest, AMistakeInTheSettingsFileIsToldWithLineAndColumn) {
  const std::string config = File("settings.toml", "[SC3xx]\n  SendIPHs = \"on\"\n");
  EXPECT_EQ(Run({"print", PictureFile(), "--config", config}), 2);
  EXPECT_THAT(err.str(), HasSubstr(config + ":2:14: "));
}

TEST_F(CommandLineTest, HelpAndVersionAreNoErrors) {
  EXPECT_EQ(Run({"--version"}), 0);
  EXPECT_EQ(out.str(), "sc3xx 1.1.0.218\n");
  for (const char* command : {"print", "inspect", "encode", "models"}) {
    out.str("");
    EXPECT_EQ(Run({command, "--help"}), 0);
    EXPECT_THAT(out.str(), HasSubstr("Example")) << command;
    EXPECT_THAT(out.str(), HasSubstr(std::string("sc3xx ") + command)) << command;
  }
  EXPECT_THAT(err.str(), IsEmpty());
}

TEST_F(CommandLineTest, PrintHelpNamesEveryOptionOfTheMonitor) {
  Run({"print", "--help"});
  for (const char* name : {"LabelCompressMode", "PdChunkSize", "NoMediaCheck", "RB430_24mm_offset"}) {
    EXPECT_THAT(out.str(), HasSubstr(name));
  }
}

// ------------------------------------------------------------------------------------------------ bad input

struct BadInput {
  const char* what;
  std::string content;
  const char* words;
};

class BadInputTest : public CommandLineTest, public ::testing::WithParamInterface<BadInput> {};

TEST_P(BadInputTest, ExitsWithOneBeforeAnythingIsPrinted) {
  const std::string file = File("input", GetParam().content);
  EXPECT_EQ(Run({"print", PictureFile(), file}), 1);
  EXPECT_THAT(err.str(), HasSubstr(file));
  EXPECT_THAT(err.str(), HasSubstr(GetParam().words));
  EXPECT_THAT(monitor.jobs, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(CommandLine, BadInputTest,
                         ::testing::Values(BadInput{"Empty", "", "empty"},
                                           BadInput{"Text", "Dear printer,\nplease print.\n", "neither a KPL stream"},
                                           BadInput{"DamagedPng", "\x89PNG\r\n\x1A\n\1\2\3", ""},
                                           BadInput{"CutPbm", "P4\n800 600\nabc", ""}),
                         [](const auto& tested) { return tested.param.what; });

TEST_F(CommandLineTest, AMissingFileIsTold) {
  EXPECT_EQ(Run({"print", "/nowhere/label.png"}), 1);
  EXPECT_THAT(err.str(), HasSubstr("/nowhere/label.png"));
}

TEST_F(CommandLineTest, AFolderThatCannotBeWrittenIsToldBeforeAnythingIsPrinted) {
  const std::string file = File("occupied", "x");
  EXPECT_EQ(Run({"print", PictureFile(), "--out", file + "/out"}), 1);
  EXPECT_THAT(err.str(), HasSubstr("--out"));
  EXPECT_THAT(monitor.jobs, IsEmpty());
}

TEST_F(CommandLineTest, ADeviceThatIsNotThereIsToldInItsOwnWords) {
  monitor.opens = false;
  EXPECT_EQ(Run({"print", PictureFile(), "--port", "usb:/dev/usb/lp9"}), 1);
  EXPECT_THAT(err.str(), HasSubstr("usb:/dev/usb/lp9"));
  EXPECT_EQ(monitor.portName, L"usb:/dev/usb/lp9");
}

TEST_F(CommandLineTest, AHostOnTheNetworkIsAPortWithEntriesOfItsOwn) {
  monitor.labels = 1;
  EXPECT_EQ(Run({"print", PictureFile(), "--port", "lan:10.0.0.7"}), 0) << err.str();
  EXPECT_EQ(monitor.portName, L"lan:10.0.0.7");
  EXPECT_EQ(monitor.printerName, L"lan:10.0.0.7");
  EXPECT_EQ(monitor.hostOfPrinter, L"10.0.0.7");
}

TEST_F(CommandLineTest, APrinterOfTheSettingsFileIsAPortOnTheNetwork) {
  monitor.labels = 1;
  const std::string file =
      File("s.toml", "[Printers.\"Front desk\"]\nPort = \"IP_7\"\n[Ports.\"IP_7\"]\nHostName = \"printer.example\"\n");
  EXPECT_EQ(Run({"print", PictureFile(), "--config", file, "--port", "lan:Front desk"}), 0) << err.str();
  EXPECT_EQ(monitor.portName, L"lan:Front desk");
  EXPECT_EQ(monitor.printerName, L"Front desk");
  EXPECT_EQ(monitor.hostOfPrinter, L"printer.example");
}

TEST_F(CommandLineTest, ANameForThePrinterLeadsToTheSameHost) {
  monitor.labels = 1;
  EXPECT_EQ(Run({"print", PictureFile(), "--port", "lan:10.0.0.7", "--printer-name", "Desk"}), 0) << err.str();
  EXPECT_EQ(monitor.printerName, L"Desk");
  EXPECT_EQ(monitor.hostOfPrinter, L"10.0.0.7");
}

TEST_F(CommandLineTest, APrinterOnTheNetworkThatRefusesIsToldInWordsWithItsPlace) {
  monitor.startError = 10061;
  EXPECT_EQ(Run({"print", PictureFile(), "--port", "lan:10.0.0.7"}), 1);
  EXPECT_THAT(err.str(), HasSubstr("the printer can't be reached: 10.0.0.7, TCP port 9100: nobody takes connections"));
}

TEST_F(CommandLineTest, AProgramNameThatMakesANetworkPortUsbIsToldAsTheReason) {
  monitor.opensBelow = true;
  EXPECT_EQ(Run({"print", PictureFile(), "--port", "lan:10.0.0.7"}), 1);
  EXPECT_THAT(err.str(), HasSubstr("must not hold \"USB\""));
}

// ------------------------------------------------------------------------------------------------ printing

TEST_F(CommandLineTest, PicturesThatFollowOneAnotherAreOneJob) {
  monitor.labels = 2;
  EXPECT_EQ(Run({"print", PictureFile("a.pbm"), PictureFile("b.pbm")}), 0) << err.str();
  EXPECT_THAT(monitor.jobs, ::testing::ElementsAre(1u));
  EXPECT_THAT(out.str(), HasSubstr("a.pbm and 1 more: 2 labels\n  label 1 of 2 printed\n  label 2 of 2 printed\n"));
  EXPECT_THAT(out.str(), HasSubstr("Printed 2 labels on USB:virtual (KOVA Scrivelo 310 Plus)"));
}

TEST_F(CommandLineTest, StreamsAreJobsOneAfterAnother) {
  monitor.labels = 2;
  EXPECT_EQ(Run({"print", JobFile("a.kpl", 2), JobFile("b.kpl", 2)}), 0) << err.str();
  EXPECT_THAT(monitor.jobs, ::testing::ElementsAre(1u, 2u));
  EXPECT_THAT(out.str(), HasSubstr("b.kpl (job 2 of 2): 2 labels"));
  EXPECT_THAT(out.str(), HasSubstr("Printed 4 labels"));
}

TEST_F(CommandLineTest, AStreamBetweenPicturesKeepsItsPlace) {
  monitor.labels = 1;
  EXPECT_EQ(Run({"print", PictureFile("a.pbm"), JobFile("b.kpl", 1), PictureFile("c.pbm")}), 0) << err.str();
  EXPECT_EQ(monitor.jobs.size(), 3u);
}

TEST_F(CommandLineTest, CopiesAreLabels) {
  monitor.labels = 3;
  EXPECT_EQ(Run({"print", PictureFile(), "--copies", "3"}), 0) << err.str();
}

TEST_F(CommandLineTest, BuffersHaveTheChosenSize) {
  monitor.labels = 1;
  EXPECT_EQ(Run({"print", JobFile("a.kpl", 1), "--buffer", "10"}), 0) << err.str();
  EXPECT_THAT(monitor.writes, ::testing::ElementsAre(10u, 10u, 7u));
}

TEST_F(CommandLineTest, FewerLabelsThanInTheStreamAreAFailure) {
  monitor.labels = 1;
  EXPECT_EQ(Run({"print", JobFile("a.kpl", 2)}), 1);
  EXPECT_THAT(err.str(), HasSubstr("only 1 of 2 labels"));
  EXPECT_THAT(out.str(), HasSubstr("FAILED, with 1 of 2 labels confirmed"));
}

TEST_F(CommandLineTest, ABrokenStreamIsAFailureEvenIfAllItsLabelsWentOut) {
  std::ifstream sound(JobFile("sound.kpl", 1), std::ios::binary);
  std::string job((std::istreambuf_iterator<char>(sound)), std::istreambuf_iterator<char>());
  job.insert(job.size() - 2, "garbage");
  monitor.labels = 1;
  EXPECT_EQ(Run({"print", File("broken.kpl", job)}), 1);
  EXPECT_THAT(out.str(), HasSubstr("warning: the stream is broken at byte 25"));
  EXPECT_THAT(err.str(), HasSubstr("the stream is broken at byte 25"));
}

TEST_F(CommandLineTest, ACancelAtThePrinterExitsWithThree) {
  monitor.command = JOB_CONTROL_DELETE;
  EXPECT_EQ(Run({"print", JobFile("a.kpl", 2)}), 3);
  EXPECT_THAT(err.str(), HasSubstr("cancelled at the printer"));
  EXPECT_THAT(out.str(), HasSubstr("Deleted, with 0 of 2 labels confirmed"));
}

TEST_F(CommandLineTest, ARestartIsTold) {
  monitor.labels = 2;
  monitor.command = JOB_CONTROL_RESTART;
  EXPECT_EQ(Run({"print", JobFile("a.kpl", 2)}), 0) << err.str();
  EXPECT_THAT(out.str(), HasSubstr("starts again from its first label (restart 1)"));
  EXPECT_THAT(out.str(), HasSubstr(", 1 restart"));
}

TEST_F(CommandLineTest, JsonIsOneObjectAndProgressGoesElsewhere) {
  monitor.labels = 2;
  EXPECT_EQ(Run({"print", JobFile("a.kpl", 2), "--json"}), 0) << err.str();
  const auto report = nlohmann::json::parse(out.str());
  EXPECT_EQ(report["outcome"], "printed");
  EXPECT_EQ(report["labelsPrinted"], 2);
  EXPECT_EQ(report["jobs"][0]["labels"], 2);
  EXPECT_THAT(err.str(), HasSubstr("label 2 of 2 printed"));
}

TEST_F(CommandLineTest, OverridesReachTheMonitorsSettings) {
  monitor.labels = 1;
  const std::string config = File("settings.toml", "[SC3xx]\nPdChunkSize = 5\nSendIPHs = 1\n");
  ASSERT_EQ(Run({"print", JobFile("a.kpl", 1), "--config", config, "--set", "SendIPHs=0", "--set", "DontLock=1"}), 0);
  EXPECT_THAT(err.str(), HasSubstr("DontLock has no effect while DebugLevel is 0"));
}

struct DebugMode {
  const char* setting;
  const char* caveat;
};

class DebugModeTest : public CommandLineTest, public ::testing::WithParamInterface<DebugMode> {};

TEST_P(DebugModeTest, DoesNotClaimThatLabelsCameOut) {
  monitor.labels = 1;
  EXPECT_EQ(Run({"print", JobFile("a.kpl", 1), "--set", "DebugLevel=1", "--set", GetParam().setting}), 0) << err.str();
  EXPECT_THAT(out.str(), HasSubstr(GetParam().caveat));
  EXPECT_THAT(out.str(), HasSubstr("Went through 1 label"));
}

INSTANTIATE_TEST_SUITE_P(CommandLine, DebugModeTest,
                         ::testing::Values(DebugMode{"NoDeviceIO=1", "nothing went to the printer"},
                                           DebugMode{"BypassMode=1", "passed on unread"}),
                         [](const auto& tested) {
                           const std::string setting = tested.param.setting;
                           return setting.substr(0, setting.find('='));
                         });

TEST_F(CommandLineTest, TheHostIsTakenBackAtTheEnd) {
  monitor.labels = 1;
  Run({"print", JobFile("a.kpl", 1)});
  EXPECT_EQ(monitor.hostsSet, 2);
}

TEST_F(CommandLineTest, TheTranscriptIsWrittenAndFormerPicturesGo) {
  monitor.labels = 1;
  File("label-001.png", "old");
  File("label-0x1.png", "not ours");
  EXPECT_EQ(Run({"print", JobFile("a.kpl", 1), "--out", folder.string()}), 0) << err.str();
  EXPECT_TRUE(fs::exists(folder / "transcript.jsonl"));
  EXPECT_FALSE(fs::exists(folder / "label-001.png")) << "this monitor sends nothing, so no label was printed";
  EXPECT_TRUE(fs::exists(folder / "label-0x1.png"));
}

// ------------------------------------------------------------------------------------------------ the others

TEST_F(CommandLineTest, EncodesWhatInspectFindsSound) {
  const std::string job = (folder / "job.kpl").string();
  EXPECT_EQ(Run({"encode", PictureFile(), "-o", job, "--copies", "2"}), 0) << err.str();
  EXPECT_THAT(out.str(), StartsWith(job + ": 2 labels, "));
  EXPECT_FALSE(fs::exists(job + ".part"));
  out.str("");
  EXPECT_EQ(Run({"inspect", job, "--json", "--png", (folder / "png").string()}), 0) << err.str();
  EXPECT_EQ(nlohmann::json::parse(out.str())["labels"].size(), 2u);
  EXPECT_TRUE(fs::exists(folder / "png" / "label-002.png"));
}

TEST_F(CommandLineTest, EncodesToStandardOutput) {
  EXPECT_EQ(Run({"encode", PictureFile(), "-o", "-"}), 0);
  EXPECT_THAT(out.str(), StartsWith("\x1Bs"));
}

TEST_F(CommandLineTest, AnOutputThatCannotBeWrittenLeavesNothing) {
  EXPECT_EQ(Run({"encode", PictureFile(), "-o", (folder / "no" / "job.kpl").string()}), 1);
  EXPECT_THAT(err.str(), HasSubstr("can't be written"));
}

TEST_F(CommandLineTest, InspectOfABrokenStreamExitsWithOne) {
  EXPECT_EQ(Run({"inspect", File("broken.kpl", std::string("\x1Bs\1\0\0\0\x1Bn\1\0\x1BG", 12))}), 1);
  EXPECT_THAT(out.str(), Not(IsEmpty()));
}

TEST_F(CommandLineTest, ModelsAreListedForPeopleAndPrograms) {
  EXPECT_EQ(Run({"models"}), 0);
  EXPECT_THAT(out.str(), HasSubstr("KOVA Ribbonet Office 430"));
  out.str("");
  EXPECT_EQ(Run({"models", "--json"}), 0);
  EXPECT_EQ(nlohmann::json::parse(out.str()).size(), 9u);
}

}  // namespace
}  // namespace sc3xx::test
