#include "media/riff_wave.h"

#include <algorithm>
#include <cstring>

#include "base/byte_order.h"

namespace morvane {
namespace {

constexpr size_t kBufferBytes = 65536;
constexpr int kMaxChunks = 4096;  // more before the sound is no file of ours
constexpr uint32_t kTagPcm = 1;
constexpr uint32_t kTagExtensible = 0xFFFE;
constexpr uint16_t kSubFormatPcm = 1;
constexpr uint16_t kSubFormatFloat = 3;
// The sub-format behind its first word.
constexpr uint8_t kSubFormatRest[14] = {0x00, 0x00, 0x00, 0x00, 0x10, 0x00, 0x80,
                                        0x00, 0x00, 0xAA, 0x00, 0x38, 0x9B, 0x71};

struct Chunk {
  FourCCCode id = 0;
  uint32_t bytes = 0;
  uint64_t body = 0;  // offset in the file
};

bool ReadFully(NxFileHandle* file, uint64_t offset, void* buffer, uint64_t bytes) {
  uint64_t done = 0;
  return file->ReadAt(offset, buffer, bytes, &done) == NxErrSuccess && done == bytes;
}

// Finds chunk `id` from `offset` on.
bool FindChunk(NxFileHandle* file, uint64_t offset, FourCCCode id, Chunk* chunk) {
  for (int i = 0; i < kMaxChunks; ++i) {
    uint8_t head[8];
    if (!ReadFully(file, offset, head, sizeof head)) return false;
    chunk->id = LoadLe32(head);
    chunk->bytes = LoadLe32(head + 4);
    chunk->body = offset + sizeof head;
    if (chunk->id == id) return true;
    offset = chunk->body + chunk->bytes + (chunk->bytes & 1);
  }
  return false;
}

// Returns: the format, with `fourcc` 0 for one that is not ours.
WaveFormat FormatOf(const uint8_t* fmt, uint32_t bytes) {
  WaveFormat format;
  const uint32_t tag = LoadLe16(fmt);
  format.channels = LoadLe16(fmt + 2);
  format.sampleRate = static_cast<int32_t>(LoadLe32(fmt + 4));
  format.bits = LoadLe16(fmt + 14);
  if (format.channels < 1 || format.channels > 2) return format;
  if (format.sampleRate != 48000 && format.sampleRate != 96000) return format;
  if (bytes == 16 || bytes == 18) {
    if (tag == kTagPcm && format.bits == 16) format.fourcc = FourCC("16au");
    return format;
  }
  const uint16_t subFormat = LoadLe16(fmt + 24);
  if (subFormat == kSubFormatPcm && format.bits == 24) format.fourcc = FourCC("24au");
  if (subFormat == kSubFormatPcm && format.bits == 32) format.fourcc = FourCC("32au");
  if (subFormat == kSubFormatFloat && format.bits == 32) format.fourcc = FourCC("32af");
  return format;
}

std::vector<uint8_t> HeaderOf(const WaveFormat& format) {
  const bool extensible = format.bits != 16;
  const uint32_t fmtBytes = extensible ? 40 : 16;
  std::vector<uint8_t> header(12 + 8 + fmtBytes + 8, 0);
  uint8_t* p = header.data();
  std::memcpy(p, "RIFF", 4);
  StoreLe32(p + 4, static_cast<uint32_t>(header.size() - 8));
  std::memcpy(p + 8, "WAVEfmt ", 8);
  StoreLe32(p + 16, fmtBytes);
  const auto blockAlign = static_cast<uint32_t>(format.BytesPerFrame());
  StoreLe16(p + 20, static_cast<uint16_t>(extensible ? kTagExtensible : kTagPcm));
  StoreLe16(p + 22, static_cast<uint16_t>(format.channels));
  StoreLe32(p + 24, static_cast<uint32_t>(format.sampleRate));
  StoreLe32(p + 28, blockAlign * static_cast<uint32_t>(format.sampleRate));
  StoreLe16(p + 32, static_cast<uint16_t>(blockAlign));
  StoreLe16(p + 34, static_cast<uint16_t>(format.bits));
  if (extensible) {
    StoreLe16(p + 36, 22);
    StoreLe16(p + 38, static_cast<uint16_t>(format.bits));
    StoreLe32(p + 40, 3);  // Deliberate: left and right also for a mono file.
    StoreLe16(p + 44, format.fourcc == FourCC("32af") ? kSubFormatFloat : kSubFormatPcm);
    std::memcpy(p + 46, kSubFormatRest, sizeof kSubFormatRest);
  }
  std::memcpy(p + 20 + fmtBytes, "data", 4);
  return header;
}

}  // namespace

NxErr RiffWaveFile::OpenRead(const std::string& path) {
  path_ = path;
  writing_ = false;
  dataBytes_ = flushed_ = 0;
  if (file_.OpenA(path.c_str(), kOpenExisting, kAccessRead) != NxErrSuccess) {
    return NxErrOpenAudioFile;
  }
  const NxErr result = FindParts();
  if (result != NxErrSuccess) (void)file_.Close();
  return result;
}

NxErr RiffWaveFile::FindParts() {
  uint8_t head[12];
  uint64_t fileBytes = 0;
  if (file_.GetSize(&fileBytes) != NxErrSuccess || !ReadFully(&file_, 0, head, sizeof head) ||
      std::memcmp(head, "RIFF", 4) != 0 || std::memcmp(head + 8, "WAVE", 4) != 0) {
    return NxErrOpenAudioFile;
  }
  Chunk fmt;
  if (!FindChunk(&file_, sizeof head, FourCC("fmt "), &fmt)) return NxErrOpenAudioFile;
  if (fmt.bytes != 16 && fmt.bytes != 18 && fmt.bytes != 40) return NxErrAudioDataNotSupported;
  uint8_t body[40];
  if (!ReadFully(&file_, fmt.body, body, fmt.bytes)) return NxErrOpenAudioFile;
  format_ = FormatOf(body, fmt.bytes);
  if (format_.fourcc == 0) return NxErrAudioDataNotSupported;
  Chunk data;
  if (!FindChunk(&file_, fmt.body + fmt.bytes, FourCC("data"), &data)) return NxErrOpenAudioFile;
  dataStart_ = data.body;
  // A file that was cut short holds less than its chunk says.
  dataBytes_ = std::min<uint64_t>(data.bytes, fileBytes > dataStart_ ? fileBytes - dataStart_ : 0);
  return NxErrSuccess;
}

NxErr RiffWaveFile::Create(const std::string& path, uint32_t createMode, const WaveFormat& format) {
  path_ = path;
  writing_ = true;
  format_ = format;
  dataBytes_ = flushed_ = 0;
  buffer_.clear();
  if (file_.OpenA(path.c_str(), createMode, kAccessRead | kAccessWrite) != NxErrSuccess) {
    return NxErrCreateAudioFile;
  }
  const std::vector<uint8_t> header = HeaderOf(format);
  dataStart_ = header.size();
  if (file_.WriteAt(0, header.data(), header.size()) == NxErrSuccess) return NxErrSuccess;
  (void)file_.Close();
  (void)FileRemove(path);
  return NxErrCreateAudioFile;
}

NxErr RiffWaveFile::Append(const void* data, uint64_t bytes) {
  if (!IsOpen() || !writing_ || bytes > kMaxWaveDataBytes - dataBytes_) return NxErrFailure;
  if (buffer_.size() + bytes > kBufferBytes) {
    const NxErr result = WriteBuffered();
    if (result != NxErrSuccess) return result;
  }
  if (bytes >= kBufferBytes) {
    if (file_.WriteAt(dataStart_ + flushed_, data, bytes) != NxErrSuccess) return NxErrFailure;
    flushed_ += bytes;
  } else {
    const auto* from = static_cast<const uint8_t*>(data);
    buffer_.insert(buffer_.end(), from, from + bytes);
  }
  dataBytes_ += bytes;
  return NxErrSuccess;
}

NxErr RiffWaveFile::WriteBuffered() {
  if (buffer_.empty()) return NxErrSuccess;
  if (file_.WriteAt(dataStart_ + flushed_, buffer_.data(), buffer_.size()) != NxErrSuccess) {
    return NxErrFailure;
  }
  flushed_ += buffer_.size();
  buffer_.clear();
  return NxErrSuccess;
}

NxErr RiffWaveFile::ReadAt(uint64_t offset, void* buffer, uint64_t bytes, uint64_t* done) {
  *done = 0;
  if (!IsOpen() || offset >= dataBytes_) return NxErrFailure;
  const uint64_t count = std::min(bytes, dataBytes_ - offset);
  return file_.ReadAt(dataStart_ + offset, buffer, count, done);
}

NxErr RiffWaveFile::Flush() {
  NxErr result = WriteBuffered();
  // Sizes behind the samples, and only for those that are in the file: whenever the writer dies,
  // what the header tells is there.
  const uint32_t pad = flushed_ & 1;
  const uint8_t zero = 0;
  if (pad != 0 && file_.WriteAt(dataStart_ + flushed_, &zero, 1) != NxErrSuccess) {
    result = NxErrFailure;
  }
  uint8_t word[4];
  StoreLe32(word, static_cast<uint32_t>(flushed_));
  if (file_.WriteAt(dataStart_ - 4, word, sizeof word) != NxErrSuccess) result = NxErrFailure;
  StoreLe32(word, static_cast<uint32_t>(dataStart_ + flushed_ + pad - 8));
  if (file_.WriteAt(4, word, sizeof word) != NxErrSuccess) result = NxErrFailure;
  return result;
}

NxErr RiffWaveFile::WriteTail(const void* tail, uint64_t bytes) {
  return file_.WriteAt(dataStart_ + flushed_ + (flushed_ & 1), tail, bytes);
}

NxErr RiffWaveFile::ReadTail(void* tail, uint64_t bytes) {
  uint64_t fileBytes = 0;
  if (file_.GetSize(&fileBytes) != NxErrSuccess || fileBytes < bytes) return NxErrFailure;
  return ReadFully(&file_, fileBytes - bytes, tail, bytes) ? NxErrSuccess : NxErrFailure;
}

NxErr RiffWaveFile::Sync() {
  return file_.Sync();
}

NxErr RiffWaveFile::Close() {
  return file_.Close();
}

NxErr RiffWaveFile::Reopen() {
  return file_.OpenA(path_.c_str(), kOpenExisting,
                     writing_ ? kAccessRead | kAccessWrite : kAccessRead);
}

}  // namespace morvane
