#include "host/loading/plugin.h"

#include <string>
#include <utility>

#include <velmora/ad_blocker.h>

namespace velmora::host {
namespace {

/// What an ad-blocking library may export besides the module contract: the choice of lists, files
/// and folders with colons between them.
constexpr char EXPORT_USE_LISTS[] = "VexlarUseLists";
using UseListsFunction = Status (*)(const char *paths);

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

std::optional<std::filesystem::path> AdLibraryFile(const std::filesystem::path &plugin,
                                                   const AdLibraryOptions &ads) {
  if (!ads.is_used) return std::nullopt;
  if (!ads.library.empty()) return ads.library;
  const std::filesystem::path beside = plugin.parent_path() / AD_LIBRARY_NAME;
  if (!std::filesystem::exists(beside)) return std::nullopt;
  return beside;
}

/// Tells the library which lists to use; no lists are those that it finds itself.
void UseLists(const Module &library, const std::vector<std::filesystem::path> &lists) {
  std::string joined;
  for (const auto &list : lists) {
    if (!joined.empty()) joined += ':';
    joined += list.string();
  }
  const auto use_lists = library.Find<UseListsFunction>(EXPORT_USE_LISTS);
  if (use_lists(joined.c_str()) != RESULT_OK) {
    throw LoadError(library.File(), "no rule in the lists " + joined);
  }
}

/// Before the plug-in binds to it, which would make it load the lists that it finds.
std::optional<Module> LoadAdLibraryWithLists(const std::filesystem::path &plugin,
                                             const AdLibraryOptions &ads) {
  std::optional<Module> library = LoadAdLibrary(AdLibraryFile(plugin, ads));
  if (library && !ads.lists.empty()) UseLists(*library, ads.lists);
  return library;
}

}  // namespace

Plugin::Plugin(const std::filesystem::path &file,
               const std::optional<std::filesystem::path> &ad_library)
    : ad_library_(LoadAdLibrary(ad_library)),
      module_(file),
      factory_(module_.GetFactory(EXPORT_GET_OBJECT_ID)) {
  CheckProcessors();
}

Plugin::Plugin(const std::filesystem::path &file, const AdLibraryOptions &ads)
    : ad_library_(LoadAdLibraryWithLists(file, ads)),
      module_(file),
      factory_(module_.GetFactory(EXPORT_GET_OBJECT_ID)) {
  CheckProcessors();
}

void Plugin::CheckProcessors() const {
  if (CreateProcessor() == nullptr) throw LoadError(module_.File(), "makes no data processors");
}

void Plugin::UseAdLists(const std::vector<std::filesystem::path> &lists) const {
  if (ad_library_) UseLists(*ad_library_, lists);
}

ProcessorPointer Plugin::CreateProcessor() const noexcept {
  void *processor = nullptr;
  if (factory_->CreateInstance(&ID_DataProcessor, &processor) != RESULT_OK) return nullptr;
  return ProcessorPointer(static_cast<IDataProcessor *>(processor));
}

std::filesystem::path DefaultPlugin() {
  constexpr char NAME[] = "libvelmora.so";
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  if (std::filesystem::exists(folder / NAME)) return folder / NAME;
  return (folder / VELMORA_PLUGIN_FOLDER / NAME).lexically_normal();
}

}  // namespace velmora::host
