// The wire forms of a job header and of a label: as they came, with the raster as an LZ4 block, or with the raster in
// chunks of lines. Everything but the raster passes through byte for byte, and a label's own bytes are never changed:
// plain and chunked sends point into them, compression builds one buffer of the exact final size.

#include <algorithm>
#include <array>
#include <cstdio>
#include <optional>

#include "diag/debug_log.h"
#include "engine/engine.h"
#include "job/failure.h"
#include "monitor/options.h"
#include "monitor/printer_models.h"
#include "stream/raster_compression.h"

namespace sc3xxmon {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint8_t kLz4Method = 3;
constexpr std::uint32_t kCompressOnUsb = 1;
constexpr std::uint32_t kCompressOnLan = 2;
constexpr std::uint16_t kLastFirmwareWithoutCompression = 1000;

// What of a label goes to the printer: all of it, or all but the inter-page header.
Bytes SendSpan(const KplLabel& label) {
  const std::size_t skip = SendIPHs != 0 ? 0 : label.IphLength;
  return label.Data.empty() || label.Data.size() < skip ? Bytes{} : Bytes(label.Data).subspan(skip);
}

// A send span in its three parts. The raster is as long as its descriptor says.
struct LabelParts {
  Bytes head;
  Bytes raster;
  Bytes tail;
};

// None if the label has no raster, or the descriptor says more than the label holds.
std::optional<LabelParts> SplitLabel(const KplLabel& label, Bytes span) {
  if (label.PrintDataParams == nullptr || span.empty()) {
    return std::nullopt;
  }
  const std::int64_t headLength = label.PrintDataCommand - span.data();
  const std::int64_t rasterStart = label.PrintDataParams + kRasterDescriptorSize - span.data();
  const std::int64_t tailLength =
      static_cast<std::int64_t>(span.size()) - rasterStart - static_cast<std::int64_t>(label.RasterSize());
  if (headLength < 0 || tailLength < 0) {
    return std::nullopt;
  }
  return LabelParts{span.first(static_cast<std::size_t>(headLength)),
                    span.subspan(static_cast<std::size_t>(rasterStart), label.RasterSize()),
                    span.last(static_cast<std::size_t>(tailLength))};
}

bool FirmwareAllowsCompression(const CPrintJob& job) {
  return job.FwType != 0 && job.FwNumber1 != 0 && job.FwNumber2 > kLastFirmwareWithoutCompression;
}

bool CompressionIsAllowed(const CLangMon& langMon, const CPrintJob& job) {
  const LabelCompression compression = PrinterModelRow(job.Model).compression;
  const bool byModel = compression == LabelCompression::kAlways ||
                       (compression == LabelCompression::kByFirmware && FirmwareAllowsCompression(job));
  return byModel && (LabelCompressMode & (langMon.isUsb != 0 ? kCompressOnUsb : kCompressOnLan)) != 0;
}

std::array<std::uint8_t, kCompressedRasterHeadSize> CompressedHead(const KplLabel& label, std::size_t compressedSize) {
  std::array<std::uint8_t, kCompressedRasterHeadSize> head{kEsc, 'Z', kLz4Method};
  WriteLittle32(head.data() + kCompressedSizeOffset, static_cast<std::uint32_t>(compressedSize));
  std::copy_n(label.PrintDataParams, kRasterDescriptorSize, head.data() + kCompressedRasterDescriptorOffset);
  return head;
}

std::uint8_t* Append(std::uint8_t* to, Bytes bytes) {
  return std::copy(bytes.begin(), bytes.end(), to);
}

// The label with its raster as an ESC Z block; empty where it goes out as it is. There is no test that compression
// helped: the printer takes a block that grew like any other.
ByteVector CompressLabel(const KplLabel& label, Bytes span) {
  const std::optional<LabelParts> parts = SplitLabel(label, span);
  if (!parts) {
    return {};
  }
  const ByteVector block = CompressRaster(parts->raster);
  if (block.empty()) {
    return {};
  }
  KovaDebugPrint(At("SendLabel"), "Compressing label from %d to %d bytes", parts->raster.size(), block.size());
  const auto head = CompressedHead(label, block.size());
  ByteVector packet(parts->head.size() + head.size() + block.size() + parts->tail.size());
  Append(Append(Append(Append(packet.data(), parts->head), head), block), parts->tail);
  return packet;
}

// Place of the next label in the job, counted from 1.
std::uint32_t NextLabelNumber(const CPrintJob& job) {
  return job.LabelsAcked + job.SentLabelCount() + 1;
}

void SendWholeLabel(CLangMon& langMon, const char* function, const KplLabel& label, Bytes bytes) {
  KovaDebugPrint(At(function), "Sending label #%d; index=%d, size=%d", NextLabelNumber(*langMon.CurrentJob()),
                 label.LabelIndex, bytes.size());
  if (!SendLabelData(langMon, bytes, "SendLabel/full")) {
    throw PrintCommException("SendLabel failed");
  }
}

// A run of raster lines with the head that announces it.
struct Chunk {
  std::array<std::uint8_t, kRasterHeadSize> head;
  Bytes lines;
  std::uint32_t lineCount;
};

// Byte 2 is 1 bit a dot whatever the label says.
std::array<std::uint8_t, kRasterHeadSize> ChunkHead(const RasterDescriptor& raster, std::uint32_t lines) {
  std::array<std::uint8_t, kRasterHeadSize> head{kEsc, 'D', 1, raster.RasterFlags};
  WriteLittle32(head.data() + 4, lines);
  WriteLittle32(head.data() + 8, raster.DotsPerLine);
  return head;
}

// Cuts a label's raster into chunks, first line first. Where the raster's bytes run out, a chunk and all behind it are
// empty.
class ChunkCutter {
 public:
  ChunkCutter(const KplLabel& label, Bytes span, std::uint32_t chunkLines)
      : raster_(label.Raster()), chunkLines_(chunkLines), linesLeft_(raster_.LineCount) {
    const auto start = static_cast<std::size_t>(label.PrintDataParams + kRasterDescriptorSize - span.data());
    bytesLeft_ = span.subspan(start, std::min<std::size_t>(label.RasterSize(), span.size() - start));
  }

  std::uint32_t Count() const {
    return raster_.LineCount / chunkLines_ + (raster_.LineCount % chunkLines_ != 0 ? 1 : 0);
  }

  Chunk Next() {
    const std::uint32_t lines = std::min(linesLeft_, chunkLines_);
    linesLeft_ -= lines;
    const std::uint32_t size = raster_.LineBytes() * lines;
    if (size > bytesLeft_.size()) {
      bytesLeft_ = {};
      return {ChunkHead(raster_, lines), {}, lines};
    }
    const Bytes bytes = bytesLeft_.first(size);
    bytesLeft_ = bytesLeft_.subspan(size);
    return {ChunkHead(raster_, lines), bytes, lines};
  }

 private:
  RasterDescriptor raster_;
  std::uint32_t chunkLines_;
  std::uint32_t linesLeft_;
  Bytes bytesLeft_;
};

void SendChunkPart(CLangMon& langMon, Bytes bytes, const char* tag, const char* failure) {
  if (!SendLabelData(langMon, bytes, tag)) {
    throw PrintCommException(failure);
  }
}

// One status request is in flight at all times: the answer to the chunk before is read behind this chunk's data, so
// that the printer always holds one chunk more than it has reported on.
void SendChunk(CLangMon& langMon, const Chunk& chunk, std::uint32_t number, std::uint32_t count) {
  if (langMon.CurrentJob()->IsDeleted()) {
    throw PrintCanceledException(true);
  }
  KovaDebugPrint(At("SendLabelChunked"), "Sending chunk %d of %d (%d lines, %d bytes)", number, count, chunk.lineCount,
                 chunk.lines.size());
  char tag[48];
  std::snprintf(tag, sizeof(tag), "SendChunk/PDHdr %u/%u", number, count);
  SendChunkPart(langMon, chunk.head, tag, "SendChunk/PDHdr failed");
  std::snprintf(tag, sizeof(tag), "SendChunk/PDData %u/%u", number, count);
  SendChunkPart(langMon, chunk.lines, tag, "SendChunk/PDData failed");
  if (number > 1) {
    StatusRecord record;
    langMon.GetInflightStatusResponse(record, true, true);
  }
  if (!langMon.SendStatusRequest(kAskInFlight)) {
    throw PrintCommException("SendChunk/status send failed");
  }
}

void SendInChunks(CLangMon& langMon, const KplLabel& label, Bytes span, std::uint32_t chunkLines) {
  ChunkCutter cutter(label, span, chunkLines);
  const std::uint32_t count = cutter.Count();
  KovaDebugPrint(At("SendLabelChunked"), "Sending chunked label #%d; index=%d, size=%d, chunks=%d",
                 NextLabelNumber(*langMon.CurrentJob()), label.LabelIndex, span.size(), count);
  const auto headLength = static_cast<std::size_t>(label.PrintDataCommand - span.data());
  SendChunkPart(langMon, span.first(headLength), "SendChunk/headers", "SendChunk/headers failed");
  for (std::uint32_t number = 1; number <= count; ++number) {
    SendChunk(langMon, cutter.Next(), number, count);
  }
  const std::optional<LabelParts> parts = SplitLabel(label, span);
  SendChunkPart(langMon, parts ? parts->tail : Bytes{}, "SendChunk/footer", "SendChunk/footer failed");
  StatusRecord record;
  langMon.GetInflightStatusResponse(record, true, true);
}

void SendWholeAndAsk(CLangMon& langMon, const KplLabel& label, Bytes span) {
  SendWholeLabel(langMon, "SendLabelChunked", label, span);
  StatusRecord record;
  langMon.FetchStatus(record, kAskInFlight, true, true);
}

bool ReportNullLabel(const char* function, const KplLabel* label) {
  if (label == nullptr) {
    KovaDebugPrint(At(function), "Logic voilation: label is null");
  }
  return label == nullptr;
}

}  // namespace

bool SendPrintJobHeader(CLangMon& langMon) {
  const auto job = langMon.CurrentJob();
  if (job->HeaderSent != 0 || job->ParserState < kParserHeader) {
    return true;
  }
  job->DumpData(job->JobHeader);
  KovaDebugPrint(At("SendPrintJobHeader"), "Sending print job header (%d bytes)", job->JobHeader.size());
  std::uint32_t written = 0;
  if (!langMon.Send(job->JobHeader.data(), static_cast<std::uint32_t>(job->JobHeader.size()), &written)) {
    return false;
  }
  job->HeaderSent = 1;
  return true;
}

bool SendLabelData(CLangMon& langMon, Bytes bytes, const char* tag) {
  if (bytes.data() == nullptr || bytes.empty()) {
    return true;
  }
  langMon.CurrentJob()->DumpData(bytes);
  std::uint32_t written = 0;
  if (langMon.Send(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &written)) {
    return true;
  }
  KovaDebugPrint(At("SendLabelData"), "Sending label data failed (%s)", tag);
  return false;
}

bool SendLabel(CLangMon& langMon, KplLabel* label) {
  if (ReportNullLabel("SendLabel", label)) {
    return false;
  }
  const auto job = langMon.CurrentJob();
  const Bytes span = SendSpan(*label);
  ByteVector compressed;
  if (label->CompressedSize == 0 && CompressionIsAllowed(langMon, *job)) {
    compressed = CompressLabel(*label, span);
  }
  SendWholeLabel(langMon, "SendLabel", *label, compressed.empty() ? span : Bytes(compressed));
  job->MarkSent(*label);
  return true;
}

bool UsesChunkedPath(const CPrintJob& job) {
  return PrinterModelRow(job.Model).tape && PdChunkSize > 0;
}

bool SendLabelChunked(CLangMon& langMon, KplLabel* label, std::uint32_t chunkLines) {
  if (ReportNullLabel("SendLabelChunked", label)) {
    return false;
  }
  const Bytes span = SendSpan(*label);
  if (label->CompressedSize > 0 || chunkLines >= label->Raster().LineCount) {
    SendWholeAndAsk(langMon, *label, span);
  } else {
    SendInChunks(langMon, *label, span, chunkLines);
  }
  langMon.CurrentJob()->MarkSent(*label);
  return true;
}

}  // namespace sc3xxmon
