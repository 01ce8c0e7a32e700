// CDataCapture: writes each body to disk twice, as it came and as the handler left it.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "base/counted_pointer.h"
#include "core/content_handler.h"
#include "platform/files.h"

namespace velmora {

/// Where the captures go: "before/" and "after/" beside the host's executable. Made once, when the
/// module loads.
class CaptureDirectories {
 public:
  /// Without a path all three are empty, and nothing is written.
  explicit CaptureDirectories(const std::optional<std::string> &executable_path);

  /// From here on no file is made. Other threads may be capturing.
  void Close() noexcept { is_closed_ = true; }
  /// Files can be made.
  bool AreOpen() const noexcept { return !root_.empty() && !is_closed_; }

  const std::string &root() const noexcept { return root_; }
  const std::string &before() const noexcept { return before_; }
  const std::string &after() const noexcept { return after_; }

 private:
  std::string root_;
  std::string before_;
  std::string after_;
  std::atomic<bool> is_closed_{false};
};

/// Stands between the processor and the handler that does the work, if there is one, and changes
/// nothing: what the handler does to the body, and what it throws, passes through.
///
/// The files are named by the capture's number in this process and the body's type, for example
/// 0001.text#html. The file of the bytes as they came gets each of them once, however often a
/// handler holds them back; there is one of the bytes that are sent on only with a handler. They
/// stay open until the capture is destroyed. Trouble with them is not reported.
class CDataCapture final : public CContentHandler {
 public:
  /// `inner` may be null; `directories` must outlive the capture.
  CDataCapture(CountedPointer<CContentHandler> inner, const CaptureDirectories &directories);
  ~CDataCapture() override;

 protected:
  /// Opens the files, except for images. The inner handler has its context already.
  bool Attach() override;
  void Process(const Chunk &chunk) override;

 private:
  /// One of the two files.
  struct Side {
    void Write(std::span<const std::uint8_t> bytes);

    platform::OutputFile file;
    /// Filled only for the comparison.
    std::vector<std::uint8_t> copy;
  };

  void OpenFiles(const char *type);
  void TraceDifference() const noexcept;

  const CaptureDirectories &directories_;
  const std::int32_t number_;
  CountedPointer<CContentHandler> inner_;
  Side before_;
  Side after_;
  /// How many bytes at the start of the next chunk have been captured before.
  std::uint32_t held_ = 0;
};

}  // namespace velmora
