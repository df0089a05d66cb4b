// ofactl: asks a running openflowAgtd what it holds, through its debug client socket, and prints
// the answer as it comes (or, with --json, as objects); turns and follows its debug output.
#include <chrono>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "client.h"
#include "common/options.h"
#include "platform/platform_file.h"
#include "platform/run_dir.h"
#include "requests.h"
#include "show_json.h"
#include "table.h"

namespace {

using namespace ofa;

constexpr int kOk = 0;
constexpr int kFailed = 1;  // no agent, no answer in time, an answer that cannot be read
constexpr int kUsage = 2;

int fail(const std::string& message) {
  std::fprintf(stderr, "ofactl: %s\n", message.c_str());
  return kFailed;
}

void print(const std::string& text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
}

// The answer as it stands, or as JSON lines read by `parse`.
template <typename Parse>
int output(const std::string& text, bool json, Parse parse) {
  if (!json) {
    print(text);
    return kOk;
  }
  auto j = parse(text);
  if (j.index() == 1) return fail(std::get<1>(j).message);
  print(std::get<0>(j));
  return kOk;
}

int show(const ofactl::Request& req, uint32_t slot, const tools::CommonOptions& o) {
  auto answer = ofactl::ask(slot, ofactl::kCodeShow, req.text, o.timeout);
  if (auto* f = std::get_if<ofactl::Failure>(&answer)) return fail(f->message);
  std::string text = std::get<ofactl::Reply>(answer).text;
  if (req.flow) {
    auto one = ofactl::flow_of_list(text, *req.flow);
    if (!one) {
      return fail("flow " + std::to_string(*req.flow) + " is not among the first " +
                  std::to_string(ofactl::kFlowListMax) + " flows the agent lists");
    }
    text = *one;
  }
  return output(text, o.json, ofactl::show_json);
}

int follow_log(uint32_t slot, const tools::CommonOptions& o) {
  bool first = true;
  ofactl::Failure end =
      ofactl::follow(slot, ofactl::kCodeFollow, "", o.timeout, [&](const std::string& text) {
        if (first) {
          first = false;
          if (!ofactl::channel_on(text)) {
            std::fprintf(stderr,
                         "ofactl: the debug channel is off (%s): `ofactl debug events on` turns "
                         "it on\n",
                         text.c_str());
          }
          return;
        }
        std::printf("%s%s", text.c_str(), text.ends_with('\n') ? "" : "\n");
        std::fflush(stdout);
      });
  return fail(end.message);
}

int ping(uint32_t slot, const tools::CommonOptions& o) {
  auto start = std::chrono::steady_clock::now();
  auto answer = ofactl::ping(slot, o.timeout);
  if (auto* f = std::get_if<ofactl::Failure>(&answer)) return fail(f->message);
  double ms =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  std::printf("0x%08x from %s in %.3f ms\n", std::get<uint32_t>(answer),
              platform::ipc_path("IPCOPENFLOWAGT", slot).c_str(), ms);
  return kOk;
}

}  // namespace

int main(int argc, char** argv) {
  tools::CommonOptions o;
  bool raw = false;
  const tools::ToolOption own[] = {tools::flag("--raw", raw)};
  if (auto err =
          tools::parse_options("ofactl", std::span<char* const>(argv + 1, argv + argc), o, own)) {
    std::fprintf(stderr, "%s\n", err->c_str());
    return kUsage;
  }
  if (o.help || o.command == "help") {
    std::fputs(ofactl::kHelp, stdout);
    return kOk;
  }
  auto req = ofactl::read_request(o.command, o.args, raw);
  if (auto* err = std::get_if<std::string>(&req)) {
    std::fprintf(stderr, "ofactl: %s (ofactl --help)\n", err->c_str());
    return kUsage;
  }
  const ofactl::Request& r = std::get<ofactl::Request>(req);
  tools::export_paths(o);
  if (auto refused = platform::check_run_dir()) {
    std::fprintf(stderr, "ofactl: %s\n", refused->c_str());
    return kUsage;
  }
  uint32_t slot = 0;
  if (o.slot) {
    slot = *o.slot;
  } else {
    auto p = platform::platform_from_env();
    if (auto* err = std::get_if<platform::ParseError>(&p)) {
      std::fprintf(stderr, "ofactl: %s\n", err->message.c_str());
      return kUsage;
    }
    slot = std::get<platform::Platform>(p).my_slot;
  }
  switch (r.code) {
    case ofactl::kCodeShow:
      return show(r, slot, o);
    case ofactl::kCodeFollow:
      return follow_log(slot, o);
    case ofactl::kCodePing:
      return ping(slot, o);
    default: {
      auto answer = ofactl::ask(slot, r.code, r.text, o.timeout);
      if (auto* f = std::get_if<ofactl::Failure>(&answer)) return fail(f->message);
      const std::string& text = std::get<ofactl::Reply>(answer).text;
      if (r.code == ofactl::kCodeSched) return output(text, o.json, ofactl::table_json);
      print(text + "\n");
      return kOk;
    }
  }
}
