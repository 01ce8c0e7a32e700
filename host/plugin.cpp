#include "host/plugin.h"

#include <velmora/ad_blocker.h>

namespace velmora::host {
namespace {

std::optional<Module> LoadAdLibrary(const std::optional<std::filesystem::path> &file) {
  if (!file) return std::nullopt;
  Module library(*file);
  library.GetFactory(EXPORT_ORDINAL_3);
  if (!library.IsFoundAs(AD_LIBRARY_NAME)) {
    throw LoadError(*file, std::string("the plug-in does not find it: its SONAME is not ") +
                               AD_LIBRARY_NAME + ", or another library has that name already");
  }
  return library;
}

}  // namespace

Plugin::Plugin(const std::filesystem::path &file,
               const std::optional<std::filesystem::path> &ad_library)
    : ad_library_(LoadAdLibrary(ad_library)),
      module_(file),
      factory_(module_.GetFactory(EXPORT_GET_OBJECT_ID)) {
  if (CreateProcessor() == nullptr) throw LoadError(file, "makes no data processors");
}

ProcessorPointer Plugin::CreateProcessor() const noexcept {
  void *processor = nullptr;
  if (factory_->CreateInstance(&ID_DataProcessor, &processor) != RESULT_OK) return nullptr;
  return ProcessorPointer(static_cast<IDataProcessor *>(processor));
}

std::filesystem::path PluginBesideProgram() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path() / "libvelmora.so";
}

}  // namespace velmora::host
