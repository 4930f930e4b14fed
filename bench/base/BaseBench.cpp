// SPDX-License-Identifier: Apache-2.0
#include <execinfo.h>
#include <fmt/format.h>
#include <openssl/evp.h>

#include <string>

#include "JsonFloor.h"
#include "Ratio.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/formats/TextFormat.h"
#include "tidewell/base/internal/Digest.h"

using namespace tidewell::base;

namespace {

/// A configuration as the backend sends it, with a given number of events in its lists.
std::string configuration(int events) {
  std::string list;
  for (int i = 0; i < events; ++i) list += fmt::format("{}\"event_name_{}\"", i ? "," : "", i);
  std::string text =
      R"({"a_s":"allowed","i_s":"allowed","g_s":"blocked","in_s":"allowed","d_t_s":"allowed",)";
  text += R"("p_f_t":86400,"e_b_c":30,"p_s_t":900,"d_s_r_i":10800,"dt_s_t":10800,"u_s_t":1.5,)";
  return text + R"("s_x_k":["utm_id","utm_term"],"b_uid_r":["^\\d+$"],"b_e":[)" + list + R"(],"f_e":[)" +
         list + "]}";
}

void addJson(const std::string& what, const std::string& text) {
  bench::ratio(
      what, 1.0,
      [text](std::size_t times) {
        while (times--) bench::keep(JSONObjectWithData(text));
      },
      bench::parsingToDom(text));
}

void addFormatting() {
  const Value message("Config Response : everything is as it was before");
  bench::ratio(
      "text of a log line, default template, beside {fmt}", 1.0,
      [message](std::size_t times) {
        while (times--) bench::keep(stringWithFormat("Tidewell - %@", &message, 1));
      },
      [message](std::size_t times) {
        while (times--) bench::keep(fmt::format("Tidewell - {}", *message.string()));
      });
  const Value four[] = {"TWConfigManager", "118", "updateConfigFromResponse:", message};
  bench::ratio(
      "text of a log line, detailed template, beside {fmt}", 1.0,
      [four](std::size_t times) {
        while (times--) {
          bench::keep(
              stringWithFormat("Tidewell - <file - %@, line number - %@ , method - '%@'> %@", four, 4));
        }
      },
      [four](std::size_t times) {
        while (times--) {
          bench::keep(fmt::format("Tidewell - <file - {}, line number - {} , method - '{}'> {}",
                                  *four[0].string(), *four[1].string(), *four[2].string(),
                                  *four[3].string()));
        }
      });
}

/// Digest and hexadecimal text by direct calls of libcrypto.
std::string bareMd5(const EVP_MD* method, const std::string& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  EVP_Digest(bytes.data(), bytes.size(), digest, &length, method, nullptr);
  std::string text(2 * length, '\0');
  for (unsigned i = 0; i < length; ++i) {
    text[2 * i] = kDigits[digest[i] >> 4];
    text[2 * i + 1] = kDigits[digest[i] & 15];
  }
  return text;
}

void addMd5(const std::string& what, double goal, const std::string& bytes) {
  bench::ratio(
      what, goal,
      [bytes](std::size_t times) {
        while (times--) {
          const auto digest = md5(bytes);
          bench::keep(hexString(digest.data(), digest.size()));
        }
      },
      [bytes](std::size_t times) {
        static EVP_MD* const method = EVP_MD_fetch(nullptr, "MD5", nullptr);
        while (times--) bench::keep(bareMd5(method, bytes));
      });
}

void addCallStack() {
  bench::ratio(
      "exception made with its call stack, beside backtrace()", 1.5,
      [](std::size_t times) {
        while (times--) bench::keep(Exception(kInvalidArgumentException, "reason"));
      },
      [](std::size_t times) {
        void* frames[96];
        while (times--) bench::keep(backtrace(frames, 96));
      });
}

}  // namespace

int main(int argc, char** argv) {
  addJson("JSON, 2 KB, bytes to values, beside RapidJSON's DOM", configuration(35));
  addJson("JSON, 1 MB, bytes to values, beside RapidJSON's DOM", configuration(25000));
  addFormatting();
  addMd5("MD5 of 16 bytes as hexadecimal text, beside libcrypto", 1.2, std::string(16, 'x'));
  addMd5("MD5 of 1 MB, beside libcrypto in assembler", 1.4, std::string(1 << 20, 'x'));
  addCallStack();
  return bench::run(argc, argv);
}
