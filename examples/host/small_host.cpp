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
    std::cerr << event.category_name << ": " << event.item << " " << event.detail;
    if (event.offset) std::cerr << " at byte " << *event.offset;
    std::cerr << "\n";
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

/// What is answered in the place of the page, if it is not even asked for.
bool IsAnswered(const velmora::Host &host) {
  velmora::RequestHead head;
  head.url = "http://www.example.com/";
  head.headers = {{"Sec-Fetch-Dest", "document"}};
  const auto answer = host.Judge(head);
  if (!answer || answer->status == 0) return false;
  std::cerr << "not asked for: " << answer->status << " " << answer->reason << "\n";
  std::cout << answer->body;
  return true;
}

}  // namespace

int main(int count, char **arguments) {
  try {
    velmora::HostOptions options;
    if (count > 1) options.policy = arguments[1];
    const velmora::Host host(options);
    return IsAnswered(host) || FilterPage(host) ? 0 : 1;
  } catch (const std::exception &error) {
    std::cerr << "small_host: " << error.what() << "\n";
    return 1;
  }
}
