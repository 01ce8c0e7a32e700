#include "script/spill_services.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>

namespace velmora {
namespace {

using Self = OsServices::Self;

class SpillFile {
 public:
  SpillFile() noexcept : disk_(OS_SERVICES.CreateTemporaryFile(&OS_SERVICES, nullptr)) {}
  SpillFile(const SpillFile &) = delete;
  SpillFile &operator=(const SpillFile &) = delete;
  ~SpillFile() {
    if (disk_ != nullptr) OS_SERVICES.CloseFile(&OS_SERVICES, disk_);
  }

  std::uint32_t Seek(std::int32_t offset) noexcept {
    if (disk_ != nullptr &&
        OS_SERVICES.SeekFile(&OS_SERVICES, disk_, offset, FROM_START) == SERVICE_FAILURE) {
      return SERVICE_FAILURE;
    }
    return position_ = static_cast<std::uint32_t>(offset);
  }

  std::uint32_t Read(void *buffer, std::uint32_t count) noexcept {
    std::uint32_t length = 0;
    if (disk_ != nullptr) {
      length = OS_SERVICES.ReadFile(&OS_SERVICES, disk_, buffer, count);
      if (length == SERVICE_FAILURE) return length;
    } else if (position_ < memory_.size()) {
      length =
          static_cast<std::uint32_t>(memory_.copy(static_cast<char *>(buffer), count, position_));
    }
    position_ += length;
    return length;
  }

  std::uint32_t Write(const void *bytes, std::uint32_t count) {
    if (disk_ != nullptr && OS_SERVICES.WriteFile(&OS_SERVICES, disk_, bytes, count) != count) {
      if (!MoveToMemory()) return SERVICE_FAILURE;
    }
    if (disk_ == nullptr) {
      memory_.resize(std::max<std::size_t>(memory_.size(), std::size_t{position_} + count));
      std::memcpy(memory_.data() + position_, bytes, count);
    }
    position_ += count;
    return count;
  }

 private:
  bool MoveToMemory() {
    const std::uint32_t size = OS_SERVICES.FileSize(&OS_SERVICES, disk_);
    if (size == SERVICE_FAILURE ||
        OS_SERVICES.SeekFile(&OS_SERVICES, disk_, 0, FROM_START) == SERVICE_FAILURE) {
      return false;
    }
    memory_.resize(size);
    if (OS_SERVICES.ReadFile(&OS_SERVICES, disk_, memory_.data(), size) != size) return false;
    OS_SERVICES.CloseFile(&OS_SERVICES, disk_);
    disk_ = nullptr;
    return true;
  }

  /// Null: the file is `memory_`.
  void *disk_;
  std::string memory_;
  std::uint32_t position_ = 0;
};

SpillFile &FileOf(void *record) noexcept {
  return *static_cast<SpillFile *>(record);
}

void *CloseFile(Self, void *file) noexcept {
  delete &FileOf(file);
  return nullptr;
}

std::uint32_t SeekFile(Self, void *file, std::int32_t offset, std::int32_t origin) noexcept {
  return origin == FROM_START && offset >= 0 ? FileOf(file).Seek(offset) : SERVICE_FAILURE;
}

std::uint32_t ReadFile(Self, void *file, void *buffer, std::uint32_t count) noexcept {
  return FileOf(file).Read(buffer, count);
}

std::uint32_t WriteFile(Self, void *file, const void *buffer, std::uint32_t count) noexcept try {
  return FileOf(file).Write(buffer, count);
} catch (const std::bad_alloc &) {
  return SERVICE_FAILURE;
}

void *CreateTemporaryFile(Self, char *name) noexcept {
  return name == nullptr ? new (std::nothrow) SpillFile : nullptr;
}

void *Allocate(Self, std::uint32_t size, std::int32_t fill) noexcept {
  return OS_SERVICES.Allocate(&OS_SERVICES, size, fill);
}

void *Free(Self, void *block) noexcept {
  return OS_SERVICES.Free(&OS_SERVICES, block);
}

constexpr OsServices MakeSpillServices() noexcept {
  OsServices services{};
  services.CloseFile = CloseFile;
  services.SeekFile = SeekFile;
  services.ReadFile = ReadFile;
  services.WriteFile = WriteFile;
  services.CreateTemporaryFile = CreateTemporaryFile;
  services.Allocate = Allocate;
  services.Free = Free;
  return services;
}

}  // namespace

constinit const OsServices SPILL_SERVICES = MakeSpillServices();

}  // namespace velmora
