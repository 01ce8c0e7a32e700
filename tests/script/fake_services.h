// A services table over memory that counts what is open and fails on demand.
#pragma once

#include <algorithm>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "script/os_services.h"

namespace velmora::testing {

/// Files live in memory; blocks come from the real table. Every call counts, and the one with the
/// number `fail_at` fails; closing and freeing give their record back all the same.
class FakeServices : public OsServices {
 public:
  FakeServices() : OsServices(OS_SERVICES) {
    OpenFile = [](Self, const char *, std::int32_t) noexcept -> void * { return nullptr; };
    CreateTemporaryFile = [](Self self, char *) noexcept -> void * {
      return Of(self).Fails() ? nullptr : Of(self).MakeFile("");
    };
    CloseFile = [](Self self, void *file) noexcept -> void * {
      const bool fails = Of(self).Fails();
      Of(self).files_.erase(file);
      delete static_cast<File *>(file);
      return fails ? file : nullptr;
    };
    FileSize = [](Self self, void *file) noexcept {
      return Of(self).Fails() ? SERVICE_FAILURE : static_cast<std::uint32_t>(Of(file).bytes.size());
    };
    SeekFile = [](Self self, void *file, std::int32_t offset, std::int32_t origin) noexcept {
      if (Of(self).Fails()) return SERVICE_FAILURE;
      const std::size_t bases[] = {0, Of(file).position, Of(file).bytes.size()};
      Of(file).position = bases[origin] + static_cast<std::size_t>(offset);
      return static_cast<std::uint32_t>(Of(file).position);
    };
    ReadFile = [](Self self, void *file, void *buffer, std::uint32_t count) noexcept {
      if (Of(self).Fails()) return SERVICE_FAILURE;
      File &from = Of(file);
      const std::size_t there = from.bytes.size() - std::min(from.position, from.bytes.size());
      const std::size_t length = std::min<std::size_t>(count, there);
      std::memcpy(buffer, from.bytes.data() + from.position, length);
      from.position += length;
      return static_cast<std::uint32_t>(length);
    };
    // A write that fails has written half of it.
    WriteFile = [](Self self, void *file, const void *buffer, std::uint32_t count) noexcept {
      const bool fails = Of(self).Fails();
      File &to = Of(file);
      const std::size_t length = fails ? count / 2 : count;
      if (to.bytes.size() < to.position + length) to.bytes.resize(to.position + length);
      std::memcpy(to.bytes.data() + to.position, buffer, length);
      to.position += length;
      return fails ? SERVICE_FAILURE : count;
    };
    Allocate = [](Self self, std::uint32_t size, std::int32_t) noexcept -> void * {
      if (Of(self).Fails()) return nullptr;
      void *const block = OS_SERVICES.Allocate(&OS_SERVICES, size, 0xA5);
      Of(self).blocks_.insert(block);
      return block;
    };
    Free = [](Self self, void *block) noexcept -> void * {
      const bool fails = Of(self).Fails();
      Of(self).blocks_.erase(block);
      OS_SERVICES.Free(&OS_SERVICES, block);
      return fails ? block : nullptr;
    };
  }

  void *MakeFile(std::string_view bytes) {
    auto *file = new File{std::string(bytes), 0};
    files_.insert(file);
    return file;
  }
  std::size_t OpenFiles() const { return files_.size(); }
  std::size_t Leaks() const { return files_.size() + blocks_.size(); }

  int calls = 0;
  int fail_at = 0;

 private:
  struct File {
    std::string bytes;
    std::size_t position;
  };
  static FakeServices &Of(Self self) {
    return const_cast<FakeServices &>(static_cast<const FakeServices &>(*self));
  }
  static File &Of(void *file) { return *static_cast<File *>(file); }
  bool Fails() { return ++calls == fail_at; }

  std::set<void *> files_;
  std::set<void *> blocks_;
};

}  // namespace velmora::testing
