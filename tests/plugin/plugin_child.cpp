// A small host in a process of its own: does what its arguments say, in order, and prints what
// comes of it.
//
//   plugin_child LIBRARY ACTION...
//   ads FILE          loads an ad-blocking library
//   load | unload     the plug-in; says whether it is still in the process afterwards
//   filter TYPE BODY  runs a body through it with every category on and prints the result
//   capture TYPE BODY the same with a capture around the handler, categories off
//   count             the live-object counter
//   cd FOLDER         works there from now on
//   starve            loads the plug-in again and again, each time with one allocation more that
//                     succeeds, until there is a factory; says how often there was none
//   busy TYPE BODY    starts threads that run bodies through it, which have to come out alike, and
//                     ends the process while they do
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string_view>
#include <thread>
#include <unistd.h>

#include "support/dealt_memory.h"
#include "support/fake_host.h"
#include "support/loaded_module.h"

namespace {

using namespace velmora;
using namespace velmora::testing;

std::string Run(const LoadedModule &library, FakeContext &context, const char *type,
                const char *body) {
  context.content_type = type;
  const auto processor = library.Make<IDataProcessor>(ID_DataProcessor);
  processor->SetContext(&context);
  return Feed(*processor, {body});
}

void SwitchAllOn(FakeContext &context) {
  for (std::int32_t code = 100; code <= 400; ++code) context.categories.insert(code);
}

void Filter(const LoadedModule &library, const char *type, const char *body, bool capture) {
  FakeContext context;
  if (capture) {
    context.settings[SETTING_DATA_HANDLERS] = "HTML;CAPTURE";
  } else {
    SwitchAllOn(context);
  }
  std::printf("%s\n", Run(library, context, type, body).c_str());
  for (const auto &report : context.reports) {
    std::printf("%d [%s] [%s]\n", static_cast<int>(report.category), report.item.c_str(),
                report.detail.c_str());
  }
}

void Starve(const char *path) {
  for (long allowed = 0;; ++allowed) {
    allocations_left = allowed;
    bool has_factory = false;
    {
      const LoadedModule library(path);
      allocations_left = ALL_SUCCEED;
      has_factory = library.Factory() != nullptr;
    }
    if (!has_factory) continue;
    std::printf("%ld\n", allowed);
    return;
  }
}

/// A host's own statics, destroyed after the plug-in's: its threads go on meanwhile.
struct LastWork {
  ~LastWork() {
    if (takes_time) std::this_thread::sleep_for(std::chrono::milliseconds(200));
  }
  bool takes_time = false;
} last_work;

[[noreturn]] void EndWhileBusy(const LoadedModule &library, const char *type, const char *body) {
  const auto run = [=, &library](bool capture) {
    FakeContext context;
    SwitchAllOn(context);
    if (capture) context.settings[SETTING_DATA_HANDLERS] = "HTML;CAPTURE";
    return Run(library, context, type, body);
  };
  for (int i = 0; i < 4; ++i) {
    std::thread([=, expected = run(false)] {
      for (int round = 0;; ++round) {
        if (run(round % 2 == 1) != expected) _exit(1);
      }
    }).detach();
  }
  std::this_thread::sleep_for(std::chrono::milliseconds(50));
  std::puts("ends");
  last_work.takes_time = true;
  std::exit(0);
}

}  // namespace

int main(int count, char **arguments) {
  if (count < 2) return 2;
  const char *const path = arguments[1];
  std::optional<LoadedModule> library;
  for (char **argument = arguments + 2; *argument != nullptr; ++argument) {
    const std::string_view action = *argument;
    if (action == "ads") {
      std::puts(dlopen(*++argument, RTLD_NOW | RTLD_LOCAL) != nullptr ? "ads loaded" : dlerror());
    } else if (action == "load") {
      library.emplace(path);
      std::puts("loaded");
    } else if (action == "unload") {
      library.reset();
      void *const still = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
      std::puts(still == nullptr ? "unloaded" : "still loaded");
    } else if (action == "cd") {
      if (chdir(*++argument) != 0) return 2;
    } else if (action == "starve") {
      Starve(path);
    } else if (action == "busy") {
      EndWhileBusy(*library, argument[1], argument[2]);
    } else if (action == "count") {
      std::printf("%d\n", library->Find<GetObjectCountFunction>(EXPORT_GET_OBJECT_COUNT)());
    } else if (action == "filter" || action == "capture") {
      const char *const type = *++argument;
      const char *const body = *++argument;
      Filter(*library, type, body, action == "capture");
    } else {
      return 2;
    }
  }
  return 0;
}
