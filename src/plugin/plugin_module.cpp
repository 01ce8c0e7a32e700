#include "plugin/plugin_module.h"

#include "base/counted_pointer.h"
#include "filter/filters.h"
#include "gif/gif_handler.h"
#include "html/data_html2.h"
#include "platform/files.h"
#include "platform/process.h"
#include "script/data_script.h"

namespace velmora {
namespace {

constexpr char DEFAULT_HANDLERS[] = "HTML;JS;VBS;GIF";
constexpr char LOG_FILE_NAME[] = "Velmora.log";
constexpr char REGISTRY_KEY[] = "HKEY_LOCAL_MACHINE\\Software\\Corvane";
constexpr char REGISTRY_LOG_MODE[] = "DebugLog";

template <class Handler, class... Arguments>
ContentHandlerPointer Make(Arguments &&...arguments) {
  return ContentHandlerPointer(new Handler(std::forward<Arguments>(arguments)...));
}

}  // namespace

Module::Module(const platform::Registry &registry, const ModuleAccess &modules)
    : ad_blocking_(BindAdLibrary(modules)),
      capture_directories_(platform::ExecutablePath()),
      content_handlers_(MakeContentHandlerTable()),
      log_(registry.Number(REGISTRY_KEY, REGISTRY_LOG_MODE), LOG_FILE_NAME,
           platform::WriteDebuggerOutput) {
  InstallLog(&log_);
}

void Module::Close() noexcept {
  log_.Close();
  capture_directories_.Close();
  ad_blocking_.Close();
}

ContentHandlerTable Module::MakeContentHandlerTable() {
  const ScriptHandlerMakers script_handlers{
      [this]() -> IDataProcessor * { return new CDataJS(ad_blocking_); },
      [this]() -> IDataProcessor * { return new CDataVBS(ad_blocking_); }};
  const FilterMaker make_filters = [this, script_handlers](IDataContext &context,
                                                           HandlerList &handlers) {
    AppendFilters(handlers, context, event_attribute_names_, ad_blocking_, script_handlers);
  };

  // clang-format off
  return {
      {
          {"text/html",                "HTML", 0, [=] { return Make<CDataHTML2>(make_filters); }},
          {"application/x-javascript", "JS",   0, [this] { return Make<CDataJS>(ad_blocking_); }},
          {"text/vbscript",            "VBS",  0, [this] { return Make<CDataVBS>(ad_blocking_); }},
          {"image/gif",                "GIF",  CATEGORY_GIF_ANIMATION, [] { return Make<CGifHandler>(); }},
      },
      [this](ContentHandlerPointer inner) {
        return Make<CDataCapture>(std::move(inner), capture_directories_);
      },
      DEFAULT_HANDLERS,
  };
  // clang-format on
}

}  // namespace velmora
