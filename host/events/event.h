// Event: something that a user may want to know of afterwards, and the line of JSON that tells it.
//
//   {"time":"2026-03-01T12:34:56.789Z","pid":4711,"number":1,"event":"blocked","client":"192.0.2.7",
//    "url":"http://www.example.com/","category":"ad-urls","code":305,"item":"IMG","detail":"...",
//    "id":"0123456789","response":"abcdefghjk","offset":4711}
//   {"time":...,"pid":...,"event":"blocked","client":...,"url":"http://ads.example/a.js","page":
//    "http://www.example.com/","type":"script","category":"requests","code":500,"item":"","detail":
//    "\"||ads.example^\"","list":"/usr/share/ads.txt:12"}
//   {"time":...,"pid":...,"event":"filtered","client":...,"url":...,"id":...,"items":3,"saved":4711}
//   {"time":...,"pid":...,"event":"guarded","client":...,"url":...,"category":"popups","code":307}
//   {"time":...,"pid":...,"event":"stopped","client":...,"url":...,"reason":"out of memory"}
//   {"time":...,"pid":...,"event":"error","reason":...}
//   {"time":...,"pid":...,"event":"dropped","count":12}
//   {"time":...,"pid":...,"event":"counters","member":"gw1","requests":...,"blocked":{"popups":3},...}
//
// "client", "url" and what only some blocked items have are left out when they are not known. With
// its number each line is another: who gathers lines knows one that came twice.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/bodies/worker_counters.h"

namespace velmora::host {

enum class EventKind {
  /// Something was taken out of a body.
  BLOCKED,
  /// A body from which something was taken is through.
  FILTERED,
  /// A page got the script that suppresses what the category says. What that comes to suppress
  /// happens in the browser and is not known here.
  GUARDED,
  /// A page did not get it, or not to its end: its own security policy would not run it.
  LEFT_OUT,
  /// Somebody pressed a button of a block page: the URL once, or its site from now on.
  OPENED,
  ALLOWED,
  /// Filtering or decoding of a body stopped before its end.
  STOPPED,
  /// Something else went wrong.
  ERROR,
  /// Events before this one are missing from the log.
  DROPPED,
  /// What the process has done since it began, in numbers.
  COUNTERS,
};

/// What a process tells of itself now and then.
struct WorkerReport {
  /// The name of its machine.
  std::string member{};
  WorkerCounters counters{};
  /// Bytes held back now, those of events that wait to be written, and events lost so far.
  std::uint64_t held = 0;
  std::uint64_t queued = 0;
  std::uint64_t lost = 0;
};

struct Event {
  EventKind kind{};
  std::chrono::system_clock::time_point time{};
  /// The process that it happened in.
  std::int32_t pid = 0;
  /// Counted from one in each process, as lines are written: one that is missing was lost. Zero is
  /// none.
  std::uint64_t number = 0;
  std::string client{};
  std::string url{};
  /// Of a blocked item, or of what a page is guarded from.
  std::int32_t category = 0;
  std::string item{};
  std::string detail{};
  /// By which the block can be asked about.
  std::string id{};
  /// The address that was judged, where it was one and is not the URL.
  std::string address{};
  /// The id of the response in whose body it stood, and where in that its element began; none where
  /// it was no element's.
  std::string response{};
  std::optional<std::uint64_t> offset{};
  /// Of a request that was not made: the page that it was for, its type, and the rule's place.
  std::string page{};
  std::string type{};
  std::string list{};
  /// Why filtering stopped, or what went wrong.
  std::string reason{};
  /// How many are missing.
  std::uint64_t count = 0;
  /// Of a filtered body: how many items went, and by how many bytes it got shorter.
  std::uint64_t items = 0;
  std::int64_t saved = 0;
  /// With `COUNTERS` alone.
  std::shared_ptr<const WorkerReport> counters{};

  /// Memory that it takes.
  std::size_t Size() const noexcept {
    return sizeof *this + client.size() + url.size() + item.size() + detail.size() + page.size() +
           id.size() + response.size() + address.size() + type.size() + list.size() + reason.size();
  }
};

/// "2026-03-01T12:34:56.789Z".
std::string TimeText(std::chrono::system_clock::time_point time);

/// Such a text as a time; none for another text.
std::optional<std::chrono::system_clock::time_point> ParseTime(const std::string &text);

/// Ten letters and digits, another for each block.
std::string MakeBlockId();

/// The event's line, with the line feed at its end. What is not UTF-8 becomes U+FFFD.
std::string ToLine(const Event &event);

/// Reads a line; none for a line that is no event.
std::optional<Event> FromLine(std::string_view line);

}  // namespace velmora::host
