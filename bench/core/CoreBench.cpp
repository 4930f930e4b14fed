// SPDX-License-Identifier: Apache-2.0
#include <fmt/format.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <atomic>
#include <memory>
#include <string>

#include "Ratio.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/core/TWConfigManager/TWConfigManager.h"
#include "tidewell/core/TWUtils/TWCoreUtils.h"
#include "tidewell/core/TWUtils/TWLogger/TWLogger.h"
#include "tidewell/core/foundation/NSMutableDictionary+TWExtension.h"
#include "tidewell/core/internal/Guard.h"
#include "tidewell/platform/ForwardingPlatform.h"
#include "tidewell/testing/TestingPlatform.h"

using namespace tidewell;

namespace {

constexpr const char* kUniqueID = "6F9619FF-8B86-D011-B42D-00C04FC964FF-1542042309";

void addOffLine() {
  static std::atomic<bool> on{false};
  bench::ratio(
      "log line that is off, beside a load and a branch", 2,
      [](std::size_t times) {
        TWLogger::debug(0);
        while (times--) logLine([&] { return base::stringWithFormat("line %ld", {times}); });
      },
      [](std::size_t times) {
        while (times--) {
          if (on.load(std::memory_order_relaxed)) bench::keep(base::stringWithFormat("line %ld", {times}));
        }
      });
}

/// A session that drops its tasks at once, so that only the caller's part is measured.
class ForgetfulSession final : public platform::UrlSession {
 public:
  void dataTaskWithRequest(platform::UrlRequest request, platform::UrlTaskCompletion) override {
    bench::keep(request.HTTPBody()->size());
  }
  [[nodiscard]] const platform::UrlSessionConfiguration& configuration() const override {
    return configuration_;
  }

 private:
  platform::UrlSessionConfiguration configuration_;
};

/// A testing platform with that session.
class BenchPlatform final : public platform::ForwardingPlatform {
 public:
  BenchPlatform() : ForwardingPlatform(std::make_shared<testing::TestingPlatform>()) {}
  std::shared_ptr<platform::UrlSession> makeUrlSession(platform::UrlSessionConfiguration) override {
    return std::make_shared<ForgetfulSession>();
  }
};

bench::Work shipping(const std::string& message, const std::string& trace) {
  return [message, traceBack = base::Value(trace)](std::size_t times) {
    while (times--)
      TWLogger::logWithVerbosity(TWLogVerbosityDefault, TWLogSeverityError, {message}, traceBack);
  };
}

/// The payload as values, and its JSON text: the part of the work that is not a request.
bench::Work serialising(const std::string& message, const std::string& trace) {
  return [=](std::size_t times) {
    while (times--) {
      base::Dictionary payload;
      setObjectNilHandled(payload, "ABC123", "appid");
      setObjectNilHandled(payload, kUniqueID, "uid");
      setObjectNilHandled(payload, "ERROR", "lvl");
      setObjectNilHandled(payload, trace, "tb");
      setObjectNilHandled(payload, "1.0.0", "sdk_ver");
      setObjectNilHandled(payload, base::stringWithFormat("Tidewell - %@", {message}), "msg");
      setObjectNilHandled(payload, base::stringWithFormat("%lli", {1542042309}), "tm_s");
      bench::keep(base::dataWithJSONObject(payload).size());
    }
  };
}

/// The same with RapidJSON, which checks the encoding, too.
bench::Work serialisingWithRapidJson(const std::string& message, const std::string& trace) {
  return [=](std::size_t times) {
    namespace rj = tidewell_rapidjson;
    while (times--) {
      rj::Document payload(rj::kObjectType);
      const auto add = [&payload](const char* key, const std::string& text) {
        payload.AddMember(rj::StringRef(key), rj::Value(text, payload.GetAllocator()),
                          payload.GetAllocator());
      };
      add("appid", "ABC123");
      add("uid", kUniqueID);
      add("lvl", "ERROR");
      add("tb", trace);
      add("sdk_ver", "1.0.0");
      add("msg", fmt::format("Tidewell - {}", message));
      add("tm_s", fmt::format("{}", 1542042309));
      rj::StringBuffer text;
      rj::Writer<rj::StringBuffer, rj::UTF8<>, rj::UTF8<>, rj::CrtAllocator, rj::kWriteValidateEncodingFlag>
          writer(text);
      payload.Accept(writer);
      bench::keep(text.GetSize());
    }
  };
}

void addShippedLines() {
  const std::string message = "something failed", trace(1500, 't'), longMessage(1 << 20, 'm');
  bench::ratio("shipped line with its trace, beside its payload by RapidJSON", 1.25, shipping(message, trace),
               serialisingWithRapidJson(message, trace));
  bench::ratio("the same, beside its payload by the SDK's own writer", 0, shipping(message, trace),
               serialising(message, trace));
  bench::ratio("shipped line of 1 MB, beside its payload by the SDK's own writer", 1.25,
               shipping(longMessage, trace), serialising(longMessage, trace));
}

void addEncoders() {
  const base::Data token(std::string(32, '\xA5'));
  bench::ratio(
      "hex of a token, beside a loop over a table", 1.2,
      [=](std::size_t times) {
        while (times--) bench::keep(TWCoreUtils::hexTokenForData(token));
      },
      [=](std::size_t times) {
        while (times--) {
          std::string hex;
          hex.reserve(64);
          for (const char byte : token.view()) {
            hex += "0123456789abcdef"[static_cast<unsigned char>(byte) >> 4];
            hex += "0123456789abcdef"[byte & 15];
          }
          bench::keep(hex);
        }
      });

  base::Dictionary payload;
  for (int i = 0; i < 10'000; ++i) payload.setObject(i, "attribute_" + std::to_string(i));
  bench::ratio(
      "payload of 10,000 keys transformed, beside a plain copy", 2,
      [=](std::size_t times) {
        while (times--) bench::keep(TWCoreUtils::transformPayloadForIncompatibleTypes(payload).count());
      },
      [=](std::size_t times) {
        while (times--) {
          base::Dictionary copy;
          copy.reserve(payload.count());
          for (const auto& [key, value] : payload) copy.setObject(value, key);
          bench::keep(copy.count());
        }
      });
}

}  // namespace

int main(int argc, char** argv) {
  platform::Platform::install(std::make_shared<BenchPlatform>());
  TWCoreUtils::saveAppId("ABC123");
  TWConfigManager::sharedInstance().updateConfigFromResponse(
      base::Dictionary{{"le_s", "allowed"}, {"le_tkn", "6c4a9e1c-1f0b-4d3e-9a55-0d3a2f7f1a10"}});

  addOffLine();
  addShippedLines();
  addEncoders();
  return bench::run(argc, argv);
}
