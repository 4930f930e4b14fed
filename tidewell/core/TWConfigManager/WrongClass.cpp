#include "tidewell/core/TWConfigManager/WrongClass.h"

#include <string>

#include "tidewell/base/Exception.h"

namespace tidewell {

void raiseUnrecognizedSelector(const base::Value& receiver, std::string_view selector) {
  std::string reason = "-[" + receiver.className() + " ";
  reason += selector;
  reason += "]: unrecognized selector sent to instance";
  base::raise(base::kInvalidArgumentException, reason);
}

const base::Array& arrayOf(const base::Value& value, std::string_view selector) {
  static const base::Array none;
  if (value.isNil()) return none;
  if (const base::Array* const array = value.array()) return *array;
  raiseUnrecognizedSelector(value, selector);
}

}  // namespace tidewell
