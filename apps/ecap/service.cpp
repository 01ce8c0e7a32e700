#include "ecap/service.h"

#include <libecap/common/errors.h>
#include <libecap/common/name.h>
#include <libecap/common/named_values.h>
#include <libecap/common/options.h>
#include <stdexcept>
#include <string>

#include "ecap/transaction.h"

namespace velmora::ecap {
namespace {

/// The "key=value" pairs of the service's line.
class FilesReader final : public libecap::NamedValueVisitor {
 public:
  void visit(const libecap::Name &name, const libecap::Area &value) override {
    const std::string &key = name.image();
    // The proxy's own, told to every service.
    if (key == "bypassable") return;
    if (key == "policy") {
      files.policy = value.toString();
    } else if (key == "plugin") {
      files.plugin = value.toString();
    } else if (key == "event-log") {
      files.event_log = value.toString();
    } else {
      throw std::invalid_argument("unknown key \"" + key +
                                  "\"; what can stand here: policy, plugin, event-log");
    }
  }

  host::FilterFiles files{.plugin = host::DefaultPlugin(), .policy = host::DefaultPolicy()};
};

}  // namespace

std::string Service::uri() const {
  return "ecap://velmora/respmod";
}

void Service::configure(const libecap::Options &options) {
  FilesReader reader;
  try {
    options.visitEachOption(reader);
  } catch (const std::exception &error) {
    return filtering_->Refuse(error.what());
  }
  filtering_->Configure(reader.files);
}

Service::MadeXactionPointer Service::makeXaction(libecap::host::Xaction *host) {
  return MadeXactionPointer(new Transaction(filtering_->Now(), host));
}

}  // namespace velmora::ecap
