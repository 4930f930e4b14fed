// SPDX-License-Identifier: Apache-2.0
#include "tidewell/testing/TestBundles.h"

#include <map>
#include <utility>

#include "tidewell/base/internal/Mutex.h"

namespace tidewell::testing {
namespace {

base::Dictionary bundleInfo(std::string_view identifier, std::string_view version) {
  return {{platform::kBundleIdentifierKey, identifier}, {platform::kBundleShortVersionKey, version}};
}

}  // namespace

struct TestBundles::State {
  mutable base::Mutex mutex;
  base::Dictionary mainInfo TIDEWELL_GUARDED_BY(mutex) = bundleInfo("org.example.shop", "1.2.3");
  std::map<std::string, base::Dictionary, std::less<>> others TIDEWELL_GUARDED_BY(mutex){
      {std::string(platform::kSdkBundleIdentifier),
       bundleInfo(platform::kSdkBundleIdentifier, TIDEWELL_VERSION_STRING)}};
};

TestBundles::TestBundles() : state_(std::make_unique<State>()) {}
TestBundles::~TestBundles() = default;

base::Dictionary TestBundles::mainInfoDictionary() {
  const base::MutexLock lock(state_->mutex);
  return state_->mainInfo;
}

std::optional<base::Dictionary> TestBundles::infoDictionaryForIdentifier(std::string_view identifier) {
  const base::MutexLock lock(state_->mutex);
  const auto found = state_->others.find(identifier);
  if (found != state_->others.end()) return found->second;
  if (state_->mainInfo.objectForKey(platform::kBundleIdentifierKey) == base::Value(identifier)) {
    return state_->mainInfo;
  }
  return std::nullopt;
}

void TestBundles::setMainInfoDictionary(base::Dictionary info) {
  const base::MutexLock lock(state_->mutex);
  state_->mainInfo = std::move(info);
}

void TestBundles::setInfoDictionary(std::string_view identifier, std::optional<base::Dictionary> info) {
  const base::MutexLock lock(state_->mutex);
  if (info) {
    state_->others.insert_or_assign(std::string(identifier), std::move(*info));
  } else {
    state_->others.erase(std::string(identifier));
  }
}

}  // namespace tidewell::testing
