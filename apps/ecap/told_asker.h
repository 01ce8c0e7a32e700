// Who asks, as the proxy tells it: the client's address (adaptation_send_client_ip), the name of
// who has signed in (adaptation_send_username), and the groups that its own access lists put the
// client in (adaptation_meta, under any name that begins with "X-Velmora-Group").
#pragma once

#include <libecap/common/area.h>
#include <libecap/host/xaction.h>
#include <optional>
#include <string>
#include <string_view>

#include "host/policy/policy.h"

namespace velmora::ecap {

class ToldAsker final : private host::ToldText::Reader {
 public:
  /// Stands before the transaction's last call to `host`. The client is asked for when somebody
  /// wants to know. Users and groups are asked for where the policy has some.
  ToldAsker(const libecap::host::Xaction &host, const host::Policy &policy);
  ToldAsker(const ToldAsker &) = delete;
  ToldAsker &operator=(const ToldAsker &) = delete;

  /// Its texts lie in this.
  host::Asker Get() const noexcept;

 private:
  std::string_view Read() const override;

  const libecap::host::Xaction &host_;
  mutable std::optional<libecap::Area> client_;
  libecap::Area user_;
  std::string groups_;
};

}  // namespace velmora::ecap
