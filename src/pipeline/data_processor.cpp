#include "pipeline/data_processor.h"

#include <new>
#include <utility>

#include "core/host_extensions.h"
#include "core/settings.h"
#include "diag/log.h"

namespace velmora {
namespace {

constexpr std::string_view CAPTURE_KEYWORD = "CAPTURE";

/// Keywords are searched as plain substrings, in this letter case: "XHTMLJS" names HTML and JS.
bool Occurs(std::string_view keyword, std::string_view list) noexcept {
  return list.find(keyword) != std::string_view::npos;
}

}  // namespace

bool CDataProcessor::IsSupported() noexcept {
  if (context() == nullptr) return false;
  const char *type = context()->GetProperty(PROPERTY_CONTENT_TYPE);
  if (type == nullptr) return false;
  const ContentHandlerRow *const row = table_->Find(type);
  if (row == nullptr) return false;
  return row->required_category == 0 || IsFeatureEnabled(*context(), row->required_category);
}

void CDataProcessor::Process(const Chunk &chunk) {
  if (chunk.IsStart()) SelectHandler();
  if (!handler_) return;
  handler_->Handle(chunk);
  if (chunk.IsEnd()) handler_ = {};
}

void CDataProcessor::SelectHandler() {
  if (handler_) {
    Log("*** DATA_FLAG_START (without DATA_FLAG_END for previous transaction).\n");
    handler_ = {};
  }
  if (context() == nullptr) return;
  std::string_view keywords = table_->default_handlers;
  if (const char *setting = context()->GetSetting(SETTING_DATA_HANDLERS)) keywords = setting;

  ContentHandlerPointer handler = MakeHandler(keywords);
  if (table_->wrap_capture && Occurs(CAPTURE_KEYWORD, keywords)) {
    handler = table_->wrap_capture(std::move(handler));
    handler->SetContext(context());
  }
  handler_ = std::move(handler);
}

ContentHandlerPointer CDataProcessor::MakeHandler(std::string_view keywords) const {
  const char *type = context()->GetProperty(PROPERTY_CONTENT_TYPE);
  if (type == nullptr) return {};
  const ContentHandlerRow *const row = table_->Find(type);
  if (row == nullptr || !Occurs(row->keyword, keywords)) return {};
  try {
    ContentHandlerPointer handler = row->make();
    handler->SetContext(context());
    return handler->IsInTrouble() ? ContentHandlerPointer() : handler;
  } catch (const std::bad_alloc &) {
    TellUnexamined(*context());
    return {};
  }
}

}  // namespace velmora
