#include "simulator/print_record.h"

namespace simulator {

const char* Name(LabelEnd end) {
  switch (end) {
    case LabelEnd::kShortFormFeed:
      return "short form feed";
    case LabelEnd::kTear:
      return "tear";
    case LabelEnd::kLongFormFeed:
      return "long form feed";
    case LabelEnd::kNextLabel:
      return "next label";
    case LabelEnd::kEndOfJob:
      return "end of job";
    case LabelEnd::kStatusRequest:
      return "status request";
    case LabelEnd::kDisconnect:
      return "disconnect";
  }
  return "?";
}

const char* Name(DropReason reason) {
  switch (reason) {
    case DropReason::kReportedBad:
      return "reported as not printed";
    case DropReason::kRefused:
      return "refused";
    case DropReason::kBegunAnew:
      return "begun anew by its host";
    case DropReason::kCancelled:
      return "cancelled at the printer";
    case DropReason::kPowerOff:
      return "power off";
    case DropReason::kDisconnected:
      return "its client went away";
    case DropReason::kCutShort:
      return "its raster was cut short";
    case DropReason::kMalformed:
      return "malformed";
  }
  return "?";
}

const char* Name(PrinterEventKind kind) {
  switch (kind) {
    case PrinterEventKind::kJobStarted:
      return "job started";
    case PrinterEventKind::kJobEnded:
      return "job ended";
    case PrinterEventKind::kShortFormFeed:
      return "short form feed";
    case PrinterEventKind::kLongFormFeed:
      return "long form feed";
  }
  return "?";
}

const char* Name(Direction direction) {
  switch (direction) {
    case Direction::kToPrinter:
      return "to printer";
    case Direction::kFromPrinter:
      return "from printer";
    case Direction::kAtPrinter:
      return "at printer";
  }
  return "?";
}

}  // namespace simulator
