// An eCAP adapter that takes every body in and gives it out again, and one that looks at no
// request: what adaptation itself costs.
#include <algorithm>
#include <libecap/adapter/service.h>
#include <libecap/adapter/xaction.h>
#include <libecap/common/message.h>
#include <libecap/common/registry.h>
#include <libecap/host/xaction.h>
#include <ostream>
#include <string>
#include <utility>

namespace {

class IdleTransaction final : public libecap::adapter::Xaction {
 public:
  explicit IdleTransaction(libecap::host::Xaction *host) : host_(host) {}

  const libecap::Area option(const libecap::Name &) const override { return {}; }
  void visitEachOption(libecap::NamedValueVisitor &) const override {}

  void start() override {
    const auto head = host_->virgin().clone();
    if (host_->virgin().body() == nullptr) {
      std::exchange(host_, nullptr)->useAdapted(head);
      return;
    }
    host_->vbMake();
    host_->useAdapted(head);
  }
  void stop() override { host_ = nullptr; }
  void abDiscard() override { host_->vbStopMaking(); }
  void abMake() override { Pump(); }
  void abMakeMore() override { Pump(); }
  void abStopMaking() override { host_->vbStopMaking(); }
  libecap::Area abContent(libecap::size_type offset, libecap::size_type size) override {
    offset = std::min(offset + taken_, piece_.size);
    return {piece_.start + offset, std::min(size, piece_.size - offset)};
  }
  void abContentShift(libecap::size_type size) override {
    taken_ += size;
    if (taken_ == piece_.size) Pump();
  }
  void noteVbContentDone(bool at_end) override {
    has_arrived_ = true;
    is_whole_ = at_end;
    Pump();
  }
  void noteVbContentAvailable() override { Pump(); }

 private:
  void Pump() {
    if (host_ == nullptr || std::exchange(is_pumping_, true)) return;
    for (;;) {
      if (taken_ == piece_.size) {
        piece_ = host_->vbContent(0, libecap::nsize);
        taken_ = 0;
        if (piece_.size == 0) break;
        host_->vbContentShift(piece_.size);
      }
      const libecap::size_type before = taken_;
      host_->noteAbContentAvailable();
      if (taken_ == before && piece_.size != 0) break;
    }
    is_pumping_ = false;
    if (!has_arrived_ || taken_ != piece_.size) return;
    host_->vbStopMaking();
    std::exchange(host_, nullptr)->noteAbContentDone(is_whole_);
  }

  libecap::host::Xaction *host_;
  libecap::Area piece_;
  libecap::size_type taken_ = 0;
  bool has_arrived_ = false;
  bool is_whole_ = false;
  bool is_pumping_ = false;
};

class IdleService : public libecap::adapter::Service {
 public:
  std::string uri() const override { return "ecap://velmora.bench/idle"; }
  std::string tag() const override { return "1"; }
  void describe(std::ostream &stream) const override { stream << "idle"; }
  void configure(const libecap::Options &) override {}
  void reconfigure(const libecap::Options &) override {}
  bool wantsUrl(const char *) const override { return true; }
  MadeXactionPointer makeXaction(libecap::host::Xaction *host) override {
    return MadeXactionPointer(new IdleTransaction(host));
  }
};

class IdleRequestTransaction final : public libecap::adapter::Xaction {
 public:
  explicit IdleRequestTransaction(libecap::host::Xaction *host) : host_(host) {}

  const libecap::Area option(const libecap::Name &) const override { return {}; }
  void visitEachOption(libecap::NamedValueVisitor &) const override {}

  void start() override { std::exchange(host_, nullptr)->useVirgin(); }
  void stop() override { host_ = nullptr; }
  void abDiscard() override {}
  void abMake() override {}
  void abMakeMore() override {}
  void abStopMaking() override {}
  libecap::Area abContent(libecap::size_type, libecap::size_type) override { return {}; }
  void abContentShift(libecap::size_type) override {}
  void noteVbContentDone(bool) override {}
  void noteVbContentAvailable() override {}

 private:
  libecap::host::Xaction *host_;
};

class IdleRequestService final : public IdleService {
 public:
  std::string uri() const override { return "ecap://velmora.bench/idle-requests"; }
  MadeXactionPointer makeXaction(libecap::host::Xaction *host) override {
    return MadeXactionPointer(new IdleRequestTransaction(host));
  }
};

[[maybe_unused]] const bool is_registered =
    libecap::RegisterVersionedService(new IdleService) &&
    libecap::RegisterVersionedService(new IdleRequestService);

}  // namespace
