// CDataProcessor: what a host gets for each response; hands the body to one content handler.
#pragma once

#include <string_view>
#include <utility>

#include "pipeline/content_handler_table.h"

namespace velmora {

/// Selects a handler at the first call of a transaction and releases it after the last. Without a
/// handler every chunk passes through.
class CDataProcessor final : public CContentHandler {
 public:
  explicit CDataProcessor(ContentHandlerTablePointer table) : table_(std::move(table)) {}

  bool IsSupported() noexcept override;

 protected:
  void Process(const Chunk &chunk) override;
  void OnTrouble() noexcept override { handler_ = {}; }

 private:
  void SelectHandler();
  ContentHandlerPointer MakeHandler(std::string_view keywords) const;

  const ContentHandlerTablePointer table_;
  ContentHandlerPointer handler_;
};

}  // namespace velmora
