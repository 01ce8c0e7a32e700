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
    files.Set(key, value.toString());
  }

  host::FilterFiles files = host::FilterFiles::OfInstallation();
};

}  // namespace

std::string Service::uri() const {
  return "ecap://velmora/respmod";
}

void Service::configure(const libecap::Options &options) {
  try {
    FilesReader reader;
    try {
      options.visitEachOption(reader);
    } catch (const std::exception &error) {
      return filtering_->Refuse(error.what());
    }
    filtering_->Configure(reader.files);
  } catch (const std::exception &error) {
    throw libecap::TextException(std::string("velmora: ") + error.what());
  }
}

Service::MadeXactionPointer Service::makeXaction(libecap::host::Xaction *host) {
  return MadeXactionPointer(new Transaction(filtering_->Now(), host));
}

}  // namespace velmora::ecap
