// A small host in a process of its own: does what its arguments say, in order, and prints what
// comes of it.
//
//   plugin_child LIBRARY ACTION...
//   ads FILE          loads an ad-blocking library
//   load | unload     the plug-in; says whether it is still in the process afterwards
//   filter TYPE BODY  runs a body through it with every category on and prints the result
//   capture TYPE BODY the same with a capture around the handler, categories off
//   count             the live-object counter
#include <cstdio>
#include <dlfcn.h>
#include <string_view>

#include "support/fake_host.h"

namespace {

using namespace velmora;
using velmora::testing::FakeContext;

template <class Function>
Function Find(void *library, const char *name) {
  return reinterpret_cast<Function>(dlsym(library, name));
}

IDataProcessor *MakeProcessor(void *library) {
  Identifier object;
  IDataProcessorFactory *factory = nullptr;
  void *processor = nullptr;
  if (Find<GetObjectIdFunction>(library, EXPORT_GET_OBJECT_ID)(&object) != RESULT_OK)
    return nullptr;
  if (Find<GetFactoryFunction>(library, EXPORT_GET_FACTORY)(&object, &factory) != RESULT_OK) {
    return nullptr;
  }
  factory->CreateInstance(&ID_DataProcessor, &processor);
  factory->Release();
  return static_cast<IDataProcessor *>(processor);
}

void Filter(void *library, const char *type, const char *body, bool capture) {
  FakeContext context;
  context.content_type = type;
  if (capture) {
    context.settings[SETTING_DATA_HANDLERS] = "HTML;CAPTURE";
  } else {
    for (std::int32_t code = 100; code <= 400; ++code) context.categories.insert(code);
  }
  IDataProcessor *const processor = MakeProcessor(library);
  processor->SetContext(&context);
  std::printf("%s\n", velmora::testing::Feed(*processor, {body}).c_str());
  for (const auto &report : context.reports) {
    std::printf("%d [%s] [%s]\n", static_cast<int>(report.category), report.item.c_str(),
                report.detail.c_str());
  }
  processor->Release();
}

}  // namespace

int main(int count, char **arguments) {
  if (count < 2) return 2;
  const char *const path = arguments[1];
  void *library = nullptr;
  for (char **argument = arguments + 2; *argument != nullptr; ++argument) {
    const std::string_view action = *argument;
    if (action == "ads") {
      std::puts(dlopen(*++argument, RTLD_NOW | RTLD_LOCAL) != nullptr ? "ads loaded" : dlerror());
    } else if (action == "load") {
      library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
      std::puts(library != nullptr ? "loaded" : dlerror());
      if (library == nullptr) return 1;
    } else if (action == "unload") {
      dlclose(library);
      void *const still = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
      std::puts(still == nullptr ? "unloaded" : "still loaded");
    } else if (action == "count") {
      std::printf("%d\n", Find<GetObjectCountFunction>(library, EXPORT_GET_OBJECT_COUNT)());
    } else if (action == "filter" || action == "capture") {
      const char *const type = *++argument;
      const char *const body = *++argument;
      Filter(library, type, body, action == "capture");
    } else {
      return 2;
    }
  }
  return 0;
}
