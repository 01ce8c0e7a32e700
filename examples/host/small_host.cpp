// A host in one file: filters the HTML page on standard input to standard output, and says what was
// blocked on standard error. What is blocked stands in the policy file that the first argument
// names; without one it is what is blocked by default.
#include <cstddef>
#include <exception>
#include <iostream>
#include <string_view>

#include <velmora/host.h>

namespace {

void Say(const velmora::HostEvent &event) {
  if (event.kind == VELMORA_EVENT_STOPPED) std::cerr << "stopped: " << event.reason << "\n";
  if (event.kind == VELMORA_EVENT_BLOCKED) {
    std::cerr << event.category_name << ": " << event.item << " " << event.detail << "\n";
  }
}

/// False when the page was broken off.
bool FilterPage(const velmora::Host &host) {
  velmora::ResponseHead head;
  head.url = "http://www.example.com/";
  head.content_type = "text/html";
  auto response = host.Begin(head, Say);
  if (!response) {
    std::cout << std::cin.rdbuf();
    return true;
  }
  char piece[4096];
  while (std::cin.read(piece, sizeof piece) || std::cin.gcount() != 0) {
    const std::string_view arrived(piece, static_cast<std::size_t>(std::cin.gcount()));
    for (auto out = response->Push(arrived); !out.empty(); out = response->Next()) std::cout << out;
  }
  for (auto out = response->Finish(); !out.empty(); out = response->Next()) std::cout << out;
  return !response->HasFailed();
}

}  // namespace

int main(int count, char **arguments) {
  try {
    velmora::HostOptions options;
    if (count > 1) options.policy = arguments[1];
    return FilterPage(velmora::Host(options)) ? 0 : 1;
  } catch (const std::exception &error) {
    std::cerr << "small_host: " << error.what() << "\n";
    return 1;
  }
}
