#include "ecap/told_asker.h"

#include <libecap/common/name.h>
#include <libecap/common/named_values.h>
#include <libecap/common/names.h>

#include "base/ascii.h"

namespace velmora::ecap {
namespace {

class Groups final : public libecap::NamedValueVisitor {
 public:
  explicit Groups(std::string &names) : names_(names) {}

  void visit(const libecap::Name &name, const libecap::Area &value) override {
    if (!base::StartsWithNoCase(name.image(), "X-Velmora-Group")) return;
    names_.append(value.start, value.size).push_back(',');
  }

 private:
  std::string &names_;
};

}  // namespace

ToldAsker::ToldAsker(const libecap::host::Xaction &host, const host::Policy &policy) : host_(host) {
  if (policy.groups.empty()) return;
  user_ = host.option(libecap::metaUserName);
  Groups visitor(groups_);
  host.visitEachOption(visitor);
}

host::Asker ToldAsker::Get() const noexcept {
  return {.client = host::ToldText(*this), .user = {user_.start, user_.size}, .groups = groups_};
}

std::string_view ToldAsker::Read() const {
  if (!client_) client_ = host_.option(libecap::metaClientIp);
  return {client_->start, client_->size};
}

}  // namespace velmora::ecap
