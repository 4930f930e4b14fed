// SPDX-License-Identifier: Apache-2.0
#include "tidewell/c/internal/Tokens.h"

#include <map>

#include "tidewell/base/formats/Json.h"
#include "tidewell/base/internal/Fork.h"
#include "tidewell/base/internal/NeverDestroyed.h"
#include "tidewell/c/internal/Boundary.h"

namespace tidewell::c {
namespace {

struct TokenTable {
  base::StateMutex mutex;
  std::map<tdw_token, std::shared_ptr<Token>> objects TIDEWELL_GUARDED_BY(mutex);
  tdw_token last TIDEWELL_GUARDED_BY(mutex) = 0;
};
base::NeverDestroyed<TokenTable> tokens;

/// Takes an object off the table if `accepts` it; null if there is none. `accepts` runs with the lock held.
template <class Accepts>
std::shared_ptr<Token> take(tdw_token token, Accepts accepts) {
  const base::MutexLock lock(tokens->mutex);
  const auto found = tokens->objects.find(token);
  if (found == tokens->objects.end() || !accepts(*found->second)) return nullptr;
  std::shared_ptr<Token> taken = std::move(found->second);
  tokens->objects.erase(found);
  return taken;
}

/// Completes a completion that has the handler `member`, with `arguments`.
template <class Handler, class... Arguments>
tdw_status complete(tdw_token token, Handler Completion::*member, const Arguments&... arguments) {
  const std::shared_ptr<Token> taken = take(token, [&](Token& object) {
    return object.isCompletion() && static_cast<Completion&>(object).*member;
  });
  if (!taken) return TDW_NOT_FOUND;
  (static_cast<Completion&>(*taken).*member)(arguments...);
  return TDW_OK;
}

}  // namespace

tdw_token keep(std::shared_ptr<Token> object, tdw_token* token) {
  const base::MutexLock lock(tokens->mutex);
  tokens->objects.emplace(tokens->last + 1, std::move(object));
  ++tokens->last;
  if (token != nullptr) *token = tokens->last;
  return tokens->last;
}

}  // namespace tidewell::c

using namespace tidewell;
using namespace tidewell::c;

extern "C" {

tdw_status tdw_remove(tdw_token token) {
  return statusOf([&]() -> tdw_status {
    const auto taken = take(token, [](Token& object) { return !object.isCompletion(); });
    return taken ? TDW_OK : TDW_NOT_FOUND;
  });
}
tdw_status tdw_complete(tdw_token completion) {
  return statusOf([&] { return complete(completion, &Completion::completed); });
}
tdw_status tdw_complete_fetching(tdw_token completion, tdw_fetch_result result) {
  return statusOf([&] {
    return complete(completion, &Completion::fetched,
                    required<platform::UIBackgroundFetchResult>(result, TDW_FETCH_FAILED));
  });
}
tdw_status tdw_complete_restoring(tdw_token completion, const char* objects) {
  return statusOf([&] {
    const base::Value value = objects != nullptr ? valueOfJson(objects) : base::Value(base::Array());
    require(value.array() != nullptr);
    return complete(completion, &Completion::restored, *value.array());
  });
}

}  // extern "C"
