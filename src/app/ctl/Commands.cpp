#include "app/ctl/Commands.h"

#include <unistd.h>

#include <algorithm>
#include <condition_variable>
#include <functional>
#include <iostream>
#include <mutex>
#include <optional>

#include "app/ctl/Completion.h"
#include "app/ctl/Console.h"
#include "app/ctl/ExitCodes.h"
#include "app/ctl/QrText.h"
#include "app/ctl/Status.h"
#include "app/ctl/Watch.h"
#include "base/SafeText.h"

namespace tessaline::ctl {
namespace {

using platform::ControlClient;
using Arguments = std::vector<std::string>;

// Goodbyes take the application one second; past this it hangs.
constexpr std::chrono::seconds kEndLimit{5};

/// Prints why there is no answer and tells the exit code.
int fail(const ControlClient::Reply& reply) {
  std::cerr << withoutControls(reply.text) << '\n';
  return reply.problem == ControlClient::Problem::refused ? kFailed : kNotRunning;
}

int link(ControlClient& client, const Arguments& arguments) {
  const auto reply = client.request("Link", std::nullopt);
  if (reply.problem) return fail(reply);
  std::cout << withoutControls(reply.text) << '\n';
  if (!arguments.empty()) std::cout << '\n' << qrText(reply.text, ::isatty(STDOUT_FILENO) != 0);
  return kDone;
}

void print(const Status& status) {
  const auto lineOr = [](const std::string& text, const char* otherwise) {
    return text.empty() ? std::string(otherwise) : text;
  };
  std::cout << "Role:     " << lineOr(status.role, "none") << '\n'
            << "Status:   " << lineOr(status.text, "none") << '\n'
            << "Link:     " << lineOr(status.link, "none") << '\n';
  if (!status.localLink.empty()) std::cout << "Local:    " << status.localLink << '\n';
  std::cout << "Screens:  " << (status.screens.empty() ? "none" : "") << '\n';
  for (const auto& screen : status.screens) std::cout << "  " << screen.line() << '\n';
  std::cout << "Seen:     " << (status.computers.empty() ? "none" : "") << '\n';
  for (const auto& name : status.computers) std::cout << "  " << name << '\n';
  std::cout << "Asking:   " << (status.pending.empty() ? "none" : "") << '\n';
  for (const auto& prompt : status.pending) {
    std::cout << "  #" << prompt.id << "  " << prompt.name << "  ("
              << lineOr(prompt.device, "no identifier") << ")\n";
  }
}

/// Asks for the status and hands it to `use`, whose answer is the exit code.
int withStatus(ControlClient& client, const std::function<int(const Status&)>& use) {
  const auto reply = client.request("Status", std::nullopt);
  if (reply.problem) return fail(reply);
  if (const auto parsed = Status::parse(reply.text)) return use(*parsed);
  std::cerr << "The application's answer is not understood; is it of another version?\n";
  return kFailed;
}

int status(ControlClient& client, const Arguments& arguments) {
  if (arguments.empty()) {
    return withStatus(client, [](const Status& parsed) {
      print(parsed);
      return kDone;
    });
  }
  const auto reply = client.request("Status", std::nullopt);
  if (reply.problem) return fail(reply);
  std::cout << reply.text << '\n';
  return kDone;
}

/// One name a line, as `start` takes them.
int screens(ControlClient& client, const Arguments& /*arguments*/) {
  return withStatus(client, [](const Status& status) {
    for (const auto& name : status.computers) std::cout << name << '\n';
    return kDone;
  });
}

int start(ControlClient& client, const Arguments& arguments) {
  const auto reply = client.request("Start", arguments.empty() ? "" : arguments.front());
  if (reply.problem) return fail(reply);
  std::cout << "connecting to " << withoutControls(reply.text) << '\n';
  return kDone;
}

int forget(ControlClient& client, const Arguments& /*arguments*/) {
  const auto reply = client.request("Forget", std::nullopt);
  if (reply.problem) return fail(reply);
  std::cout << "forgotten: " << withoutControls(reply.text) << " allowed screens\n";
  return kDone;
}

int bitrate(ControlClient& client, const Arguments& arguments) {
  const auto reply = client.request("Bitrate", arguments.empty() ? "" : arguments.front());
  if (reply.problem) return fail(reply);
  std::cout << withoutControls(reply.text) << '\n';
  return kDone;
}

int answer(ControlClient& client, const char* request, const char* done,
           const Arguments& arguments) {
  const auto reply = client.request(request, arguments.empty() ? "" : arguments.front());
  if (reply.problem) return fail(reply);
  std::cout << done << ": " << withoutControls(reply.text) << '\n';
  return kDone;
}

int simple(ControlClient& client, const char* request) {
  const auto reply = client.request(request, std::nullopt);
  return reply.problem ? fail(reply) : static_cast<int>(kDone);
}

/// Returns when the application has really gone, so that a script can start it again at once.
int quit(ControlClient& client) {
  // Shared with the client's thread, which lives as long as the client.
  struct End {
    std::mutex mutex;
    std::condition_variable condition;
    bool reached = false;
  };
  const auto end = std::make_shared<End>();
  const bool watching = client.watch({[] {},
                                      [end] {
                                        const std::lock_guard lock(end->mutex);
                                        end->reached = true;
                                        end->condition.notify_one();
                                      }});
  const auto reply = client.request("Quit", std::nullopt);
  if (reply.problem) return fail(reply);
  std::unique_lock lock(end->mutex);
  if (!watching || end->condition.wait_for(lock, kEndLimit, [&] { return end->reached; })) {
    return kDone;
  }
  std::cerr << "Tessaline was asked to quit but has not ended.\n";
  return kFailed;
}

struct Command {
  const char* name;
  const char* parameter;  ///< the one argument it takes, as the help shows it, or ""
  const char* purpose;
  int (*run)(ControlClient&, const Arguments&);
};

int completion(ControlClient& client, const Arguments& arguments);

// Every command that there is, in the order of the help.
constexpr Command kCommands[] = {
    {"link", "[--qr]", "print the link for browsers; with --qr also its QR code", link},
    {"status", "[--json]", "print role, link, extra screens and devices that ask", status},
    {"screens", "", "print the computers on the network that can be the screen", screens},
    {"start", "[NAME]", "make a computer the extra screen; without NAME the last one used", start},
    {"stop", "", "end every extra screen",
     [](ControlClient& client, const Arguments&) { return simple(client, "Stop"); }},
    {"allow", "[DEVICE]", "let a device that asks become an extra screen",
     [](ControlClient& client, const Arguments& arguments) {
       return answer(client, "Allow", "allowed", arguments);
     }},
    {"deny", "[DEVICE]", "refuse a device that asks",
     [](ControlClient& client, const Arguments& arguments) {
       return answer(client, "Deny", "not allowed", arguments);
     }},
    {"forget", "", "ask about every device again", forget},
    {"bitrate", "[BITS]", "print or set the bits per second of a 1920 × 1080 picture", bitrate},
    {"watch", "", "print once a second how each stream fares",
     [](ControlClient& client, const Arguments&) { return watchStreams(client); }},
    {"activate", "", "bring the application to the front",
     [](ControlClient& client, const Arguments&) { return simple(client, "Activate"); }},
    {"switch-mode", "", "forget this computer's role and ask for it again",
     [](ControlClient& client, const Arguments&) { return simple(client, "SwitchMode"); }},
    {"quit", "", "end the application",
     [](ControlClient& client, const Arguments&) { return quit(client); }},
    {"console", "", "show the link and answer devices here, with single keys",
     [](ControlClient& client, const Arguments&) { return Console(client).run(); }},
    {"completion", "SHELL", "print the completion script of bash, zsh or fish", completion},
};

int completion(ControlClient& /*client*/, const Arguments& arguments) {
  std::vector<CompletionEntry> entries;
  for (const auto& command : kCommands) {
    entries.push_back({command.name, command.parameter, command.purpose});
  }
  const auto script = completionScript(arguments.front(), entries);
  if (!script) {
    std::cerr << "There are completions for bash, zsh and fish.\n";
    return kUsage;
  }
  std::cout << *script;
  return kDone;
}

void printHelp(std::ostream& out) {
  out << "Usage: tessalinectl COMMAND\n\nTalks to the running Tessaline of this user and this "
         "configuration folder ($XDG_CONFIG_HOME).\n\n";
  for (const auto& command : kCommands) {
    std::string usage = std::string(command.name) + ' ' + command.parameter;
    usage.resize(std::max<std::size_t>(usage.size(), 20), ' ');
    out << "  " << usage << command.purpose << '\n';
  }
  out << "\nDEVICE is an identifier or a #number as `status` shows them; without it the only "
         "device "
         "that\nasks is meant.\n\nExit codes: 0 done, 1 failed or nothing to answer, 2 wrong "
         "usage, "
         "3 Tessaline is not running.\n";
}

/// Whether a command with this parameter takes these arguments: options only as they are written,
/// names only when they do not look like options.
bool fits(const Command& command, const Arguments& arguments) {
  const std::string parameter = command.parameter;
  if (arguments.empty()) return parameter.empty() || parameter.front() == '[';
  if (arguments.size() > 1 || parameter.empty()) return false;
  if (parameter.starts_with("[--")) return '[' + arguments.front() + ']' == parameter;
  return !arguments.front().starts_with("--");
}

}  // namespace

int runCommand(const std::vector<std::string>& arguments, ControlClient& client) {
  const bool wantsHelp = std::ranges::any_of(arguments, [](const std::string& argument) {
    return argument == "--help" || argument == "-h";
  });
  if (wantsHelp) {
    printHelp(std::cout);
    return kDone;
  }
  if (!arguments.empty()) {
    const Arguments rest(arguments.begin() + 1, arguments.end());
    for (const auto& command : kCommands) {
      if (arguments.front() == command.name && fits(command, rest)) {
        return command.run(client, rest);
      }
    }
  }
  printHelp(std::cerr);
  return kUsage;
}

}  // namespace tessaline::ctl
