// A host in one file: filters the HTML page on standard input to standard output, and says what was
// blocked on standard error.
#include <algorithm>
#include <dlfcn.h>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include <velmora/velmora.h>

namespace {

using namespace velmora;

/// What the plug-in asks of every object that a host lends to it. The host owns the object: its
/// references are counted, and none deletes it.
template <class Interface>
class Lent : public Interface {
 public:
  Status QueryInterface(const Identifier *, void **output) noexcept override {
    *output = nullptr;
    return RESULT_NO_INTERFACE;
  }
  std::int32_t AddRef() noexcept override { return ++references_; }
  std::int32_t Release() noexcept override { return --references_; }

 private:
  std::int32_t references_ = 1;
};

class Buffer final : public Lent<IDataBuffer> {
 public:
  void Append(const char *bytes, std::size_t size) {
    bytes_.insert(bytes_.end(), bytes, bytes + size);
  }
  /// The bytes that are final leave the buffer.
  std::string TakeCommitted() {
    const auto end = bytes_.begin() + committed_;
    std::string taken(bytes_.begin(), end);
    bytes_.erase(bytes_.begin(), end);
    committed_ = 0;
    return taken;
  }

  std::uint8_t *GetData() noexcept override { return bytes_.data(); }
  std::uint32_t GetSize() noexcept override { return static_cast<std::uint32_t>(bytes_.size()); }
  std::uint32_t GetCommitted() noexcept override { return committed_; }
  void SetCommitted(std::uint32_t position) noexcept override {
    committed_ = std::min(position, GetSize());
  }
  void Reserved7() noexcept override {}
  void Reserved8() noexcept override {}
  void Replace(std::uint32_t position, std::uint32_t old_length, const std::uint8_t *bytes,
               std::uint32_t new_length) noexcept override {
    if (position > GetSize()) return;
    old_length = std::min(old_length, GetSize() - position);
    const auto place = bytes_.erase(bytes_.begin() + position,
                                    bytes_.begin() + position + old_length);
    bytes_.insert(place, bytes, bytes + new_length);
    const std::uint32_t old_end = position + old_length;
    if (committed_ >= old_end) {
      committed_ += new_length - old_length;
    } else if (committed_ > position) {
      committed_ = position + new_length;
    }
  }

 private:
  std::vector<std::uint8_t> bytes_;
  std::uint32_t committed_ = 0;
};

class Context final : public Lent<IDataContext> {
 public:
  const char *GetProperty(std::int32_t property) noexcept override {
    switch (property) {
      case PROPERTY_URL:
        return "http://www.example.com/";
      case PROPERTY_HOST:
        return "www.example.com";
      case PROPERTY_CONTENT_TYPE:
        return "text/html";
      default:
        return nullptr;
    }
  }
  const char *GetSetting(const char *) noexcept override { return nullptr; }
  bool IsCategoryEnabled(std::int32_t) noexcept override { return true; }
  const std::vector<std::uint8_t> &GetOptionBlock() noexcept override { return no_options_; }
  void ReportBlocked(std::int32_t, std::int32_t category, const char *item,
                     const char *detail) noexcept override {
    std::cerr << category << ": " << item << " " << detail << "\n";
  }

 private:
  std::vector<std::uint8_t> no_options_;
};

/// Null when the plug-in is missing or does not answer as it should.
IDataProcessorFactory *LoadFactory() {
  void *const plugin = dlopen(PLUGIN, RTLD_NOW);
  if (plugin == nullptr) return nullptr;
  const auto get_id = reinterpret_cast<GetObjectIdFunction>(dlsym(plugin, EXPORT_GET_OBJECT_ID));
  const auto get_factory = reinterpret_cast<GetFactoryFunction>(dlsym(plugin, EXPORT_GET_FACTORY));
  Identifier object;
  IDataProcessorFactory *factory = nullptr;
  if (get_id == nullptr || get_factory == nullptr || get_id(&object) != RESULT_OK ||
      get_factory(&object, &factory) != RESULT_OK) {
    return nullptr;
  }
  return factory;
}

void FilterPage(IDataProcessor &processor, Context &context) {
  processor.SetContext(&context);
  if (!processor.IsSupported()) {
    std::cout << std::cin.rdbuf();
    return;
  }
  Buffer buffer;
  std::uint32_t flags = DATA_FLAG_START;
  while ((flags & DATA_FLAG_END) == 0) {
    char piece[4096];
    std::cin.read(piece, sizeof piece);
    buffer.Append(piece, static_cast<std::size_t>(std::cin.gcount()));
    if (!std::cin) flags |= DATA_FLAG_END;
    processor.ProcessData(&buffer, 0, buffer.GetSize(), flags);
    if ((flags & DATA_FLAG_END) != 0) buffer.SetCommitted(buffer.GetSize());
    std::cout << buffer.TakeCommitted();
    flags &= ~DATA_FLAG_START;
  }
}

}  // namespace

int main() {
  IDataProcessorFactory *const factory = LoadFactory();
  void *made = nullptr;
  if (factory == nullptr || factory->CreateInstance(&ID_DataProcessor, &made) != RESULT_OK) {
    std::cerr << "small_host: " << PLUGIN << " cannot be used\n";
    return 1;
  }
  auto *const processor = static_cast<IDataProcessor *>(made);
  Context context;
  FilterPage(*processor, context);
  processor->Release();
  factory->Release();
  return 0;
}
