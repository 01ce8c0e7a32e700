// Message: the head of a request or response, as Traffic Server keeps it.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <ts/ts.h>

namespace velmora::trafficserver {

/// Gives its handles back when it goes; what it answers lies in Traffic Server's memory and is good
/// until the head changes or goes.
class Message {
 public:
  using Getter = TSReturnCode (*)(TSHttpTxn, TSMBuffer *, TSMLoc *);

  /// `get` is one of `TSHttpTxnClientReqGet`, `TSHttpTxnServerRespGet`, ...
  Message(TSHttpTxn transaction, Getter get) noexcept {
    is_there_ = get(transaction, &buffer_, &head_) == TS_SUCCESS;
  }
  Message(const Message &) = delete;
  Message &operator=(const Message &) = delete;
  ~Message() {
    if (is_there_) TSHandleMLocRelease(buffer_, TS_NULL_MLOC, head_);
  }

  explicit operator bool() const noexcept { return is_there_; }

  int Status() const noexcept { return TSHttpHdrStatusGet(buffer_, head_); }
  std::string_view Method() const noexcept;
  /// Where a CONNECT is to lead; an IPv6 address has its brackets.
  struct Target {
    std::string host;
    int port = 0;
  };
  Target TunnelTarget() const;

  bool Has(std::string_view name) const noexcept;
  /// The first line's value; empty when there is none.
  std::string_view Value(std::string_view name) const noexcept;
  /// The values of all lines, with commas between them; none when there is no line.
  std::optional<std::string> Joined(std::string_view name) const;

  /// Of a request: the query of another URL, or the host of another "host:port" with CONNECT; the
  /// rest stays as it is.
  void SetUrl(std::string_view url) noexcept;
  void SetStatus(int status, std::string_view reason) noexcept;
  void Remove(std::string_view name) noexcept;
  /// Beside the lines of that name that are there.
  void Add(std::string_view name, std::string_view value) noexcept;

 private:
  TSMBuffer buffer_ = nullptr;
  TSMLoc head_ = TS_NULL_MLOC;
  bool is_there_ = false;
};

}  // namespace velmora::trafficserver
