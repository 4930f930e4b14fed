// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <rapidjson/document.h>

#include <string>

#include "Ratio.h"

namespace bench {

/// The lower bound for reading JSON: RapidJSON's DOM, with the same strictness as the library's reader.
inline Work parsingToDom(std::string text) {
  return [text = std::move(text)](std::size_t times) {
    namespace rj = tidewell_rapidjson;
    constexpr unsigned kChecks = rj::kParseIterativeFlag | rj::kParseFullPrecisionFlag |
                                 rj::kParseValidateEncodingFlag | rj::kParseTrailingCommasFlag;
    while (times--) {
      rj::Document document;
      document.Parse<kChecks>(text.data(), text.size());
      keep(document.HasParseError());
    }
  };
}

}  // namespace bench
