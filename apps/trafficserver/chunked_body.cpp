#include "trafficserver/chunked_body.h"

#include <new>

namespace velmora::trafficserver {
namespace {

/// Stands for the head, which is read already.
constexpr std::string_view HEAD = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";

}  // namespace

ChunkedBody::ChunkedBody() noexcept {
  http_parser_init(&parser_, HTTP_RESPONSE);
  parser_.data = this;
  http_parser_settings settings;
  http_parser_settings_init(&settings);
  http_parser_execute(&parser_, &settings, HEAD.data(), HEAD.size());
}

bool ChunkedBody::Read(std::string_view bytes, std::vector<std::string_view> &pieces) noexcept {
  if (is_complete_) return true;
  pieces_ = &pieces;
  http_parser_settings settings;
  http_parser_settings_init(&settings);
  settings.on_body = [](http_parser *parser, const char *piece, std::size_t size) noexcept {
    try {
      static_cast<ChunkedBody *>(parser->data)->pieces_->emplace_back(piece, size);
      return 0;
    } catch (const std::bad_alloc &) {
      return 1;
    }
  };
  settings.on_message_complete = [](http_parser *parser) {
    static_cast<ChunkedBody *>(parser->data)->is_complete_ = true;
    http_parser_pause(parser, 1);
    return 0;
  };
  http_parser_execute(&parser_, &settings, bytes.data(), bytes.size());
  return is_complete_ || HTTP_PARSER_ERRNO(&parser_) == HPE_OK;
}

}  // namespace velmora::trafficserver
