#include "platform/media/HeaderTrace.h"

extern "C" {
#include <libavcodec/bsf.h>
#include <libavutil/log.h>
}

#include <array>
#include <cstdio>
#include <cstring>
#include <sstream>

namespace tessaline::platform {
namespace {

std::string logged;

void collect(void*, int level, const char* format, va_list arguments) {
  std::array<char, 1024> line{};
  if (level > AV_LOG_INFO) return;
  std::vsnprintf(line.data(), line.size(), format, arguments);
  logged += line.data();
}

bool passThrough(ByteView unit) {
  AVBSFContext* filter = nullptr;
  if (av_bsf_alloc(av_bsf_get_by_name("trace_headers"), &filter) < 0) return false;
  filter->par_in->codec_id = AV_CODEC_ID_H264;
  AVPacket* packet = av_packet_alloc();
  bool passed =
      av_bsf_init(filter) >= 0 && av_new_packet(packet, static_cast<int>(unit.size()) + 4) >= 0;
  if (passed) {
    std::memcpy(packet->data, "\0\0\0\1", 4);
    std::memcpy(packet->data + 4, unit.data(), unit.size());
    passed = av_bsf_send_packet(filter, packet) >= 0 && av_bsf_receive_packet(filter, packet) >= 0;
  }
  av_packet_free(&packet);
  av_bsf_free(&filter);
  return passed;
}

}  // namespace

HeaderTrace traceHeader(ByteView unit) {
  logged.clear();
  av_log_set_callback(collect);
  const bool passed = passThrough(unit);
  av_log_set_callback(av_log_default_callback);
  HeaderTrace trace;
  // Lines such as "12   level_idc    00101010 = 42".
  std::istringstream lines(passed ? logged : "");
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    std::string position, name, bits, equals;
    long value = 0;
    if (words >> position >> name >> bits >> equals >> value && equals == "=") {
      trace.emplace_back(name, value);
    }
  }
  return trace;
}

long valueOf(const HeaderTrace& trace, const std::string& name) {
  for (const auto& [element, value] : trace) {
    if (element == name) return value;
  }
  return -1;
}

}  // namespace tessaline::platform
