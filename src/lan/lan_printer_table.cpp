#include <mutex>
#include <unordered_map>
#include <utility>

#include "lan/lan_printer.h"

namespace sc3xxmon {
namespace {

std::mutex printerMutex;
std::unordered_map<LanPrinterKey, std::shared_ptr<CLanPrinter>> printers;
LanPrinterKey lastKey = 0;

}  // namespace

LanPrinterKey CLanPrinter::AddPrinter(const wchar_t* portName) {
  const wchar_t* name = portName != nullptr ? portName : L"";
  const std::lock_guard lock(printerMutex);
  for (const auto& [key, printer] : printers) {
    if (printer->PrinterName() == name) {
      return key;
    }
  }
  auto printer = std::make_shared<CLanPrinter>(lastKey + 1, name);
  printers.emplace(++lastKey, std::move(printer));
  return lastKey;
}

std::shared_ptr<CLanPrinter> CLanPrinter::GetPrinter(LanPrinterKey key) {
  const std::lock_guard lock(printerMutex);
  const auto at = printers.find(key);
  return at != printers.end() ? at->second : nullptr;
}

bool CLanPrinter::RemovePrinter(LanPrinterKey key) {
  std::shared_ptr<CLanPrinter> removed;  // dies after the lock is given back
  const std::lock_guard lock(printerMutex);
  const auto at = printers.find(key);
  if (at == printers.end()) {
    return false;
  }
  removed = std::move(at->second);
  printers.erase(at);
  return true;
}

}  // namespace sc3xxmon
