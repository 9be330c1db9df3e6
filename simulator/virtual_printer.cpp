#include "simulator/virtual_printer.h"

#include <utility>

#include "simulator/machine.h"

namespace simulator {

VirtualPrinter::VirtualPrinter(PrinterSettings settings) : machine_(std::make_unique<Machine>(std::move(settings))) {}
VirtualPrinter::~VirtualPrinter() = default;
VirtualPrinter::VirtualPrinter(VirtualPrinter&& other) noexcept = default;
VirtualPrinter& VirtualPrinter::operator=(VirtualPrinter&& other) noexcept = default;

ClientId VirtualPrinter::Connect(std::uint64_t now) {
  return machine_->Connect(now);
}

void VirtualPrinter::Disconnect(ClientId client, std::uint64_t now) {
  machine_->Disconnect(client, now);
}

TransferPlan VirtualPrinter::BeginTransfer(ClientId client, TransferDirection direction, std::uint64_t now) {
  return machine_->BeginTransfer(client, direction, now);
}

std::size_t VirtualPrinter::Write(ClientId client, std::span<const std::uint8_t> bytes, std::uint64_t now) {
  return machine_->Write(client, bytes, now);
}

std::size_t VirtualPrinter::Read(ClientId client, std::span<std::uint8_t> bytes, std::uint64_t now) {
  return machine_->Read(client, bytes, now);
}

std::size_t VirtualPrinter::Readable(ClientId client, std::uint64_t now) {
  return machine_->Readable(client, now);
}

void VirtualPrinter::Advance(std::uint64_t now) {
  machine_->Advance(now);
}

std::optional<std::uint64_t> VirtualPrinter::NextEvent() const {
  return machine_->NextEvent();
}

void VirtualPrinter::SwitchOff(std::uint64_t now) {
  machine_->SwitchOff(now);
}

FaultId VirtualPrinter::AddFault(const Fault& fault) {
  return machine_->AddFault(fault);
}

void VirtualPrinter::ClearFault(FaultId fault, std::uint64_t now) {
  machine_->ClearFault(fault, now);
}

void VirtualPrinter::ClearFaults(std::uint64_t now) {
  machine_->ClearFaults(now);
}

bool VirtualPrinter::FaultStands(FaultId fault) const {
  return machine_->FaultStands(fault);
}

const std::vector<PrintedLabel>& VirtualPrinter::Printed() const {
  return machine_->printed;
}

std::vector<PrintedLabel> VirtualPrinter::TakePrinted() {
  return std::exchange(machine_->printed, {});
}

const std::vector<DroppedLabel>& VirtualPrinter::Dropped() const {
  return machine_->dropped;
}

std::vector<DroppedLabel> VirtualPrinter::TakeDropped() {
  return std::exchange(machine_->dropped, {});
}

const std::vector<PrinterEvent>& VirtualPrinter::Events() const {
  return machine_->events;
}

std::vector<PrinterEvent> VirtualPrinter::TakeEvents() {
  return std::exchange(machine_->events, {});
}

const std::vector<MalformedInput>& VirtualPrinter::Malformed() const {
  return machine_->malformed;
}

const PrinterCounts& VirtualPrinter::Counts() const {
  return machine_->counts;
}

const std::vector<Exchange>& VirtualPrinter::Transcript() const {
  return machine_->transcript;
}

std::vector<Exchange> VirtualPrinter::TakeTranscript() {
  return std::exchange(machine_->transcript, {});
}

const PrinterSettings& VirtualPrinter::Settings() const {
  return machine_->settings;
}

const PrinterModel& VirtualPrinter::Model() const {
  return machine_->model;
}

bool VirtualPrinter::PoweredOn() const {
  return machine_->PoweredOn();
}

ClientId VirtualPrinter::LockHolder() const {
  return machine_->lockHolder;
}

bool VirtualPrinter::JobOpen() const {
  return machine_->JobsOpen() > 0;
}

bool VirtualPrinter::JobOpen(ClientId client) const {
  return machine_->JobOpen(client);
}

bool VirtualPrinter::Idle() const {
  return machine_->Idle();
}

PrinterView VirtualPrinter::View() const {
  return machine_->View();
}

}  // namespace simulator
