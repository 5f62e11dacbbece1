#include "platform/linux/wayland/wlroots/SwayCommands.h"

#include <array>
#include <boost/asio/buffer.hpp>
#include <boost/asio/local/stream_protocol.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/json/parse.hpp>
#include <cstring>

#include "base/AsioQueue.h"

namespace tessaline::platform {
namespace {

using Socket = boost::asio::local::stream_protocol;

// A command takes sway some milliseconds, but a desktop that wakes up may take longer.
constexpr std::chrono::seconds kPatience(4);
// The list of outputs with all their modes is a few kilobytes for each.
constexpr std::uint32_t kLongestAnswer = 4 * 1024 * 1024;  // bytes

constexpr std::string_view kMagic = "i3-ipc";
constexpr std::uint32_t kRunCommand = 0;
constexpr std::uint32_t kGetOutputs = 3;

struct Header {
  std::uint32_t length = 0;
  std::uint32_t type = 0;
};
constexpr std::size_t kHeaderSize = kMagic.size() + sizeof(Header);

std::string framed(std::uint32_t type, const std::string& payload) {
  const Header header{static_cast<std::uint32_t>(payload.size()), type};
  std::string message(kMagic);
  message.append(reinterpret_cast<const char*>(&header), sizeof(header));
  return message + payload;
}

std::string textOf(const boost::json::object& object, const char* key) {
  const auto* const value = object.if_contains(key);
  const auto* const text = value ? value->if_string() : nullptr;
  return text ? std::string(text->data(), text->size()) : std::string();
}

/// The answer to commands is one result for each.
std::optional<std::string> firstError(const boost::json::value& answer) {
  const auto* const results = answer.if_array();
  if (!results || results->empty()) return "sway's answer is not what was expected";
  for (const auto& each : *results) {
    const auto* const result = each.if_object();
    const auto* const success = result ? result->if_contains("success") : nullptr;
    if (success && success->is_bool() && success->get_bool()) continue;
    auto error = result ? textOf(*result, "error") : std::string();
    return error.empty() ? "sway refused" : error;
  }
  return std::nullopt;
}

Result<std::vector<std::string>> outputNames(Result<boost::json::value> answer) {
  if (!answer) return Failure{answer.error()};
  const auto* const outputs = answer->if_array();
  if (!outputs) return Failure{"sway's answer is not what was expected"};
  std::vector<std::string> names;
  for (const auto& each : *outputs) {
    if (const auto* const output = each.if_object()) names.push_back(textOf(*output, "name"));
  }
  return names;
}

}  // namespace

/// One command's way to sway and back. Kept alive by its handlers; `finish` tells the outcome once.
class SwayCommands::Exchange : public std::enable_shared_from_this<Exchange> {
 public:
  Exchange(Queue& queue, std::string message, Done done)
      : socket_(AsioQueue::executorOf(queue)),
        message_(std::move(message)),
        done_(std::move(done)) {}

  void start(Queue& queue, const std::filesystem::path& path) {
    timeout_ = queue.after(kPatience, [weak = weak_from_this()] {
      if (const auto self = weak.lock()) self->finish(Failure{"sway does not answer"});
    });
    socket_.async_connect(Socket::endpoint(path.string()),
                          [self = shared_from_this()](const auto& error) {
                            if (self->went(error)) self->write();
                          });
  }

  void finish(Result<boost::json::value> answer) {
    const auto done = std::exchange(done_, nullptr);
    abandon();
    if (done) done(std::move(answer));
  }

  void abandon() {
    done_ = nullptr;
    timeout_.cancel();
    boost::system::error_code ignored;
    socket_.close(ignored);
  }

 private:
  bool went(const boost::system::error_code& error) {
    if (error && done_) finish(Failure{"sway cannot be asked: " + error.message()});
    return done_ != nullptr;
  }

  void write() {
    boost::asio::async_write(socket_, boost::asio::buffer(message_),
                             [self = shared_from_this()](const auto& error, std::size_t) {
                               if (self->went(error)) self->readHeader();
                             });
  }

  void readHeader() {
    boost::asio::async_read(socket_, boost::asio::buffer(header_),
                            [self = shared_from_this()](const auto& error, std::size_t) {
                              if (self->went(error)) self->readAnswer();
                            });
  }

  void readAnswer() {
    Header header;
    std::memcpy(&header, header_.data() + kMagic.size(), sizeof(header));
    if (std::string_view(header_.data(), kMagic.size()) != kMagic ||
        header.length > kLongestAnswer) {
      return finish(Failure{"what answers is not sway"});
    }
    answer_.resize(header.length);
    boost::asio::async_read(socket_, boost::asio::buffer(answer_),
                            [self = shared_from_this()](const auto& error, std::size_t) {
                              if (self->went(error)) self->parse();
                            });
  }

  void parse() {
    boost::system::error_code error;
    auto answer = boost::json::parse(answer_, error);
    if (error) return finish(Failure{"sway's answer is not JSON"});
    finish(std::move(answer));
  }

  Socket::socket socket_;
  const std::string message_;
  Done done_;
  Timer timeout_;
  std::array<char, kHeaderSize> header_{};
  std::string answer_;
};

SwayCommands::SwayCommands(std::filesystem::path socket, std::shared_ptr<Queue> queue)
    : socket_(std::move(socket)), queue_(std::move(queue)) {}

SwayCommands::~SwayCommands() {
  if (current_) current_->abandon();
}

void SwayCommands::run(const std::string& commands,
                       std::function<void(std::optional<std::string> error)> done) {
  ask({kRunCommand, commands, [done = std::move(done)](Result<boost::json::value> answer) {
         done(answer ? firstError(*answer) : std::optional(answer.error()));
       }});
}

void SwayCommands::listOutputs(std::function<void(Result<std::vector<std::string>>)> done) {
  ask({kGetOutputs, {}, [done = std::move(done)](Result<boost::json::value> answer) {
         done(outputNames(std::move(answer)));
       }});
}

void SwayCommands::ask(Request request) {
  waiting_.push_back(std::move(request));
  if (!current_) next();
}

void SwayCommands::next() {
  if (waiting_.empty()) return;
  Request request = std::move(waiting_.front());
  waiting_.pop_front();
  current_ = std::make_shared<Exchange>(
      *queue_, framed(request.type, request.payload),
      [this, done = std::move(request.done), queue = queue_](Result<boost::json::value> answer) {
        current_.reset();
        done(std::move(answer));
        if (!current_) next();
      });
  current_->start(*queue_, socket_);
}

}  // namespace tessaline::platform
