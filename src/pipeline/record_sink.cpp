#include "pipeline/record_sink.h"

#include <isam.h>

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "files/apart.h"
#include "files/indexed_file.h"
#include "files/isam_file.h"
#include "files/status.h"
#include "media/output_stream.h"
#include "pipeline/record_conversion.h"
#include "pipeline/record_format.h"
#include "platform/console.h"
#include "platform/file_error.h"
#include "reports/losses.h"
#include "state/options.h"
#include "state/run.h"

namespace tolvane {
namespace {

// Behind a record may stand a marker and padding, or what a plain copy brings.
constexpr std::size_t kBehind = std::max(kVariableAlignment, RecordConversion::kBehind);

class FlatSink : public RecordSink {
 public:
  explicit FlatSink(bool variable) : variable_(variable) {}

  [[nodiscard]] bool Open() {
    if (!stream_.Open(opt.outfile)) return false;
    if (!variable_) return true;
    const auto header =
        VariableFileHeader(sizes.gblCpySize, std::max(sizes.gblCpySize, sizes.gblExpRecSize));
    return stream_.WriteAtOnce(header.data(), header.size());
  }
  Byte* Room(std::size_t bytes, std::int32_t descriptor_length) override {
    prefix_ = variable_ ? PrefixOfVariableRecord(descriptor_length) : VariablePrefix{};
    place_ = stream_.Room(prefix_.width + bytes + kBehind);
    std::copy_n(prefix_.bytes.begin(), prefix_.width, place_);
    return place_ + prefix_.width;
  }
  void Put(std::size_t size, std::int64_t /*number*/) override {
    std::size_t length = prefix_.width + size;
    if (opt.sw_relative != 0) place_[length++] = kRelativeMarker;
    for (; variable_ && length % kVariableAlignment != 0; ++length) place_[length] = ' ';
    stream_.Commit(length);
  }
  void Flush() override { stream_.Flush(); }
  bool Close() override {
    if (stream_.Close()) return true;
    processError(errno, opt.outfile);
    return false;
  }
  std::int64_t lost() const override { return stream_.lost(); }

 private:
  bool variable_;
  OutputStream stream_{"Record"};
  VariablePrefix prefix_;
  Byte* place_ = nullptr;
};

class IndexedSink : public RecordSink {
 public:
  IndexedSink(IsamFile file, std::size_t record_length)
      : file_(std::move(file)), record_length_(record_length), record_(record_length + kBehind) {}

  Byte* Room(std::size_t bytes, std::int32_t /*descriptor_length*/) override {
    if (record_.size() < bytes + kBehind) record_.resize(bytes + kBehind);
    return record_.data();
  }
  void Put(std::size_t size, std::int64_t number) override {
    if (size < record_length_) std::fill_n(&record_[size], record_length_ - size, Byte{' '});
    const char* const bytes = reinterpret_cast<const char*>(record_.data());  // NOLINT: C interface
    if (iswrite(file_.handle(), bytes) == 0) return losses_.EndRun();
    int error = iserrno;
    if (error == EDUPL && lasting.sw_merge != 0) {
      if (isrewrite(file_.handle(), bytes) == 0) return losses_.EndRun();
      if (iserrno != ENOREC) error = iserrno;  // else it is an alternate key that exists
    }
    const std::span<const Byte> record(record_.data(), record_length_);
    if (error == EDUPL) return InterpretIsamError(EDUPL, opt.outfile, record);
    if (losses_.Lose(number)) InterpretIsamError(error, opt.outfile, record);
  }
  bool Close() override {
    losses_.EndRun();
    if (file_.Close()) return true;
    InterpretIsamError(iserrno, opt.outfile, {});
    return false;
  }
  std::int64_t lost() const override { return losses_.count(); }

 private:
  IsamFile file_;
  std::size_t record_length_;
  std::vector<Byte> record_;
  Losses losses_{"Record"};
};

class NullSink : public RecordSink {
 public:
  Byte* Room(std::size_t bytes, std::int32_t /*descriptor_length*/) override {
    if (record_.size() < bytes + kBehind) record_.resize(bytes + kBehind);
    return record_.data();
  }
  void Put(std::size_t /*size*/, std::int64_t /*number*/) override {}

 private:
  std::vector<Byte> record_;
};

}  // namespace

std::unique_ptr<RecordSink> OpenFlatSink(bool variable) {
  if (CheckNoIndexedFile(opt.outfile) == 0) return nullptr;
  auto sink = std::make_unique<FlatSink>(variable);
  if (sink->Open()) return sink;
  processError(errno, opt.outfile);
  return nullptr;
}

std::unique_ptr<RecordSink> OpenIndexedSink() {
  IsamFile file(opt.outfile, ISOUTPUT | ISEXCLLOCK);
  const int length = file.RecordLength();
  if (length < 0) {
    InterpretIsamError(iserrno, opt.outfile, {});
    return nullptr;
  }
  if (length != OutputRecordLength()) {
    PrintError("The records of '%s' have %d bytes, those to restore %d\n", opt.outfile.c_str(),
               length, OutputRecordLength());
    return nullptr;
  }
  return std::make_unique<IndexedSink>(std::move(file), static_cast<std::size_t>(length));
}

std::unique_ptr<RecordSink> OpenNullSink() { return std::make_unique<NullSink>(); }

}  // namespace tolvane
