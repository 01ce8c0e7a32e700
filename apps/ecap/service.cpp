#include "ecap/service.h"

#include <libecap/common/errors.h>
#include <libecap/common/name.h>
#include <libecap/common/named_values.h>
#include <libecap/common/options.h>
#include <optional>
#include <stdexcept>
#include <string>

#include "ecap/transaction.h"

namespace velmora::ecap {
namespace {

/// The "key=value" pairs of the service's line.
class FilesReader final : public libecap::NamedValueVisitor {
 public:
  /// What is wrong with the line, if anything.
  std::optional<std::string> Read(const libecap::Options &options) {
    try {
      options.visitEachOption(*this);
      return std::nullopt;
    } catch (const std::exception &error) {
      return error.what();
    }
  }

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
    const std::optional<std::string> problem = reader.Read(options);
    if (problem) return filtering_->Refuse(*problem);
    filtering_->Configure(reader.files);
  } catch (const std::exception &error) {
    throw libecap::TextException(std::string("velmora: ") + error.what());
  }
}

Service::MadeXactionPointer Service::makeXaction(libecap::host::Xaction *host) {
  return MadeXactionPointer(new Transaction(filtering_->Now(), host));
}

}  // namespace velmora::ecap
