// The works of the virtual printer. Internal: hosts use virtual_printer.h, whose comment says what it does with a label.
//
// How it runs: bytes of a client go through its KplReader; each whole command changes the client or puts a label on the
// one queue that all clients share (machine_input.cpp, machine_labels.cpp); requests wait in the client's own line
// (machine_answers.cpp). After every command and at every point of time that means something, Settle prints what can be
// printed and answers what can be answered, until nothing moves any more. Faults act by FaultBoard's changes
// (machine_faults.cpp). Time inside is microseconds.
//
// Invariants:
// - Labels of one client stand in the queue in the order of their sequence numbers. All of a client's labels below its
//   `acknowledgedBelow` have been acknowledged, none from there on.
// - Only the front of the queue is ever printing, and only while no fault stops the printer.
// - Answers leave in the order of their requests.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "simulator/fault_board.h"
#include "simulator/kpl_reader.h"
#include "simulator/status_answer.h"
#include "simulator/virtual_printer.h"

namespace simulator {

class VirtualPrinter::Machine {
 public:
  explicit Machine(PrinterSettings settings);

  ClientId Connect(std::uint64_t now);
  void Disconnect(ClientId id, std::uint64_t now);
  TransferPlan BeginTransfer(ClientId id, TransferDirection direction, std::uint64_t now);
  std::size_t Write(ClientId id, std::span<const std::uint8_t> bytes, std::uint64_t now);
  std::size_t Read(ClientId id, std::span<std::uint8_t> bytes, std::uint64_t now);
  std::size_t Readable(ClientId id, std::uint64_t now);
  void Advance(std::uint64_t now);
  std::optional<std::uint64_t> NextEvent() const;
  void SwitchOff(std::uint64_t now);

  FaultId AddFault(const Fault& fault);
  void ClearFault(FaultId fault, std::uint64_t now);
  void ClearFaults(std::uint64_t now);
  bool FaultStands(FaultId fault) const { return faults_.Stands(fault); }

  bool PoweredOn() const { return faults_.Standing(FaultKind::kPowerOff) == nullptr; }
  bool JobOpen(ClientId id) const;
  std::size_t JobsOpen() const;
  bool Idle() const;
  PrinterView View() const;

  // What a front end may read at any time; written by the machine alone.
  const PrinterSettings settings;
  const PrinterModel& model;
  std::vector<PrintedLabel> printed;
  std::vector<DroppedLabel> dropped;
  std::vector<PrinterEvent> events;
  std::vector<MalformedInput> malformed;
  std::vector<Exchange> transcript;
  PrinterCounts counts;
  ClientId lockHolder = kNobody;

 private:
  struct LabelInWork {
    PrintedLabel label;
    std::uint64_t sequence = 0;   // among its client's labels
    std::uint64_t heldBytes = 0;  // on the wire
    std::optional<std::uint16_t> firstIndexOfJob;
    bool acknowledged = false;  // as far as it has come: an answer behind its last raster passed
    bool asked = false;         // its host asked for the printer's state, or began a job, behind its last raster
    bool jobBegunAnew = false;  // a job began while it was open
    bool malformed = false;
    bool begun = false;  // counted as a label that began to print
    bool printing = false;
    Microseconds finishAt = 0;
  };

  struct Request {
    std::uint8_t letter = 'A';  // or V
    std::uint8_t operand = 0;
    std::uint64_t labelsBefore = 0;             // it stands behind the labels with lower sequence numbers
    std::optional<std::uint64_t> openSequence;  // of the label in which it stands
    std::uint32_t openRasters = 0;              // rasters of that label before it
    std::optional<std::uint8_t> forcedStatus;   // decided already: its labels are gone

    // Its host looks at the printer afresh, and knows of every bad answer before.
    bool AsksAnew() const { return letter == 'A' && operand != 2; }
  };

  struct Answer {
    std::vector<std::uint8_t> bytes;
    std::size_t read = 0;
    Microseconds due = 0;
  };

  // Label data is thrown away until the host asks again or begins anew.
  struct Discard {
    std::uint8_t status = 0;
    bool reported = false;
  };

  struct Client {
    Client(ClientId number, std::size_t maxLabelBytes) : id(number), reader(maxLabelBytes) {}
    ClientId id;
    KplReader reader;
    std::optional<LabelInWork> open;
    std::vector<std::uint8_t> leading;
    std::uint64_t nextSequence = 0;
    std::uint64_t acknowledgedBelow = 0;
    std::uint64_t waitingBytes = 0;  // of its whole labels that haven't begun to print
    std::deque<Request> requests;
    std::deque<Answer> answers;
    std::size_t unreadBytes = 0;
    std::optional<Discard> discard;
    bool lostBytes = false;  // something was cut short and no answer has said so
    bool jobOpen = false;
    std::uint32_t job = 0;
    std::optional<std::uint16_t> firstIndexOfJob;
    bool full = false;  // it offered more than there was room for
    Microseconds lastByteAt = 0;
  };

  // machine.cpp: clients and time
  Client* Find(ClientId id);
  TransferPlan PlanTransfer(TransferDirection direction);
  std::size_t Room(const Client& client) const;
  std::size_t ControlCommandAhead(const Client& client, std::span<const std::uint8_t> bytes) const;
  void RunUntil(Microseconds time);
  std::optional<Microseconds> NextChange() const;
  std::optional<Microseconds> SilenceEnds(const Client& client) const;
  void EndSilences();
  void Settle();
  void GiveRoom();
  std::uint64_t Now() const { return now_ / 1000; }

  // machine_input.cpp: commands
  void Interpret(Client& client, std::span<const std::uint8_t> bytes);
  void Command(Client& client);
  void StartJob(Client& client);
  void BeginLabel(Client& client);
  void AddRaster(Client& client);
  bool JoinRaster(LabelInWork& open, std::vector<std::uint8_t> raster, const RasterHead& head, std::string& problem);
  void FormFeed(Client& client, LabelEnd end);
  void EndJob(Client& client);
  void OtherCommand(Client& client);
  void KeepCommand(Client& client);
  void DropIncomplete(Client& client);
  void NoteMalformed(Client& client, std::uint64_t offset, std::string reason);
  bool MayPrint(Client& client);
  void TakeLock(ClientId id);
  void FreeLock();
  void AddEvent(PrinterEventKind kind, const Client& client);

  // machine_labels.cpp: from the open label to paper
  void EndLabel(Client& client, LabelEnd end);
  void Enqueue(LabelInWork&& work);
  void DropOpen(Client& client, DropReason reason);
  void ResolveOrphan(std::optional<std::uint16_t> nextIndex);
  void NoteDropped(const LabelInWork& work, DropReason reason, bool acknowledged);
  void RemoveFromQueue(std::size_t place, DropReason reason);
  bool IsAcknowledged(const LabelInWork& work) const;
  bool BeganAnew(const LabelInWork& open, std::uint16_t index) const;
  bool TellLabelBegins();
  bool TellLabelBegins(std::uint64_t number);
  bool Print();
  void StartFront();
  void FinishFront();
  Microseconds PrintingTime(const PrintedLabel& label) const;

  // machine_answers.cpp: requests and answers
  void AskStatus(Client& client);
  void AskFirmware(Client& client);
  void AskedFor(Client& client, Request request);
  void LeaveDiscard(Client& client, Request& request);
  bool AnswerAll();
  bool AnswerNext(Client& client);
  StatusForm Form() const;
  StatusReport ShownState() const;
  StatusReport MakeReport(const Client& client, const Request& request) const;
  bool UnfinishedBefore(const Client& client, const Request& request) const;
  void Acknowledge(Client& client, const Request& request);
  void Reject(Client& client, const Request& request, std::uint8_t status);
  void ForceFollowing(Client& client, std::uint8_t status);
  void Send(Client& client, std::vector<std::uint8_t> bytes, const char* kind, std::string meaning);

  // machine_faults.cpp
  void Apply(const FaultBoard::Changes& changes);
  void BeginFault(const FaultBoard::Change& change);
  void EndFault(const Fault& fault);
  void Cancel();
  Client* ClientToCancel();
  void PowerOff();

  void Tell(ClientId client, Direction direction, const char* kind, std::uint64_t length,
            std::span<const std::uint8_t> bytes, std::string meaning);
  void TellHere(ClientId client, const char* kind, std::string meaning);

  FaultBoard faults_;
  std::map<ClientId, Client> clients_;
  ClientId lastClient_ = kNobody;
  std::deque<LabelInWork> queue_;
  std::optional<LabelInWork> orphan_;  // open and acknowledged when its client went
  std::uint64_t begunLabels_ = 0;
  bool cancelNextRequest_ = false;  // cancel was pressed with no job in sight
  Microseconds now_ = 0;
};

}  // namespace simulator
