// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <string>
#include <type_traits>

#include "tidewell/core/appdelegate/internal/Forwarding.h"
#include "tidewell/core/internal/RowOrder.h"
#include "tidewell/platform/UIApplicationDelegate.h"
#include "tidewell/runtime/Message.h"

namespace tidewell {

/// The installation stage that adds a method to the delegate's subclass.
enum class ProxyStage : std::uint8_t { base, remoteNotifications };
/// Which delegates get the method.
enum class Added : std::uint8_t { always, ifDelegateResponds };
/// The selector of the donor's method: that of the message, optionally with "donor_" after its first colon.
enum class DonorSelector : std::uint8_t { same, prefixed };
/// How an interceptor receives the message: sent directly, or by an invocation created from the protocol's
/// description.
enum class Sent : std::uint8_t { directly, byInvocation };

/// A message to the application's delegate that is forwarded to interceptors: a row of `kDelegateMessages`.
struct DelegateMessage {
  const void* message;  ///< the constant in `UIApplicationDelegate.h`, for comparison
  DonorSelector donor;
  ProxyStage stage;
  std::int8_t place;  ///< position in the order in which the stage adds its methods
  Added added;

  runtime::Selector (*selector)();
  const runtime::Signature& (*signature)();
  runtime::AnyFunction (*forward)();

  [[nodiscard]] runtime::Selector donorSelector() const {
    if (donor == DonorSelector::same) return selector();
    std::string name(selector().name());
    name.insert(name.find(':') + 1, "donor_");
    return runtime::Selector::named(name);
  }
};

template <Sent sent, class R, class... P>
runtime::AnyFunction forwardingFunction(const runtime::Message<R(P...)>&) {
  if constexpr (sent == Sent::directly) {
    static_assert(std::is_void_v<R> || std::is_same_v<R, bool>, "answers of this type cannot be combined");
    const runtime::Function<R, P...> function = &forwardMessage<R, P...>;
    return reinterpret_cast<runtime::AnyFunction>(function);
  } else {
    static_assert(std::is_void_v<R>, "the answer of an invocation is not collected");
    const runtime::Function<void, P...> function = &forwardInvocation<P...>;
    return reinterpret_cast<runtime::AnyFunction>(function);
  }
}

template <const auto& message, Sent sent>
constexpr DelegateMessage delegateMessage(DonorSelector donor, ProxyStage stage, std::int8_t place,
                                          Added added) {
  return {&message,
          donor,
          stage,
          place,
          added,
          [] { return message.selector(); },
          []() -> const runtime::Signature& { return message.signature(); },
          [] { return forwardingFunction<sent>(message); }};
}

/// The forwarded messages, in the order of the donor's methods.
inline constexpr std::array kDelegateMessages = {
    delegateMessage<platform::kApplicationOpenURL, Sent::directly>(DonorSelector::same, ProxyStage::base, 1,
                                                                   Added::ifDelegateResponds),
    delegateMessage<platform::kApplicationOpenURLFromSource, Sent::directly>(
        DonorSelector::same, ProxyStage::base, 3, Added::always),
    delegateMessage<platform::kApplicationHandleEventsForBackgroundURLSession, Sent::directly>(
        DonorSelector::same, ProxyStage::base, 2, Added::always),
    delegateMessage<platform::kApplicationContinueUserActivity, Sent::directly>(
        DonorSelector::same, ProxyStage::base, 0, Added::always),
    delegateMessage<platform::kApplicationDidRegisterForRemoteNotifications, Sent::byInvocation>(
        DonorSelector::prefixed, ProxyStage::remoteNotifications, 0, Added::always),
    delegateMessage<platform::kApplicationDidFailToRegisterForRemoteNotifications, Sent::byInvocation>(
        DonorSelector::prefixed, ProxyStage::remoteNotifications, 1, Added::always),
    delegateMessage<platform::kApplicationDidReceiveRemoteNotificationFetching, Sent::byInvocation>(
        DonorSelector::prefixed, ProxyStage::remoteNotifications, 3, Added::ifDelegateResponds),
    delegateMessage<platform::kApplicationDidReceiveRemoteNotification, Sent::byInvocation>(
        DonorSelector::prefixed, ProxyStage::remoteNotifications, 2, Added::always),
};

/// The delegate's messages that are not forwarded.
inline constexpr const void* kUnforwardedMessages[] = {&platform::kApplicationDelegateWindow};

template <ProxyStage stage>
constexpr std::int8_t placeInStage(const DelegateMessage& row) {
  return row.stage == stage ? row.place : kNoPlace;
}
static_assert(hasEveryPlaceOnce(kDelegateMessages, placeInStage<ProxyStage::base>) &&
                  hasEveryPlaceOnce(kDelegateMessages, placeInStage<ProxyStage::remoteNotifications>),
              "a place in a stage is missing or used twice");
/// The rows of a stage, in the order in which it adds their methods.
template <ProxyStage stage>
inline constexpr auto kRowsOfStage =
    rowsInOrder<countPlaces(kDelegateMessages, placeInStage<stage>)>(kDelegateMessages, placeInStage<stage>);
static_assert(kRowsOfStage<ProxyStage::base>.size() + kRowsOfStage<ProxyStage::remoteNotifications>.size() ==
              kDelegateMessages.size());

static_assert(
    [] {
      bool isComplete = true;
      platform::UIApplicationDelegate::forEachMessage([&](const auto& message, auto) {
        const auto rows =
            std::count_if(kDelegateMessages.begin(), kDelegateMessages.end(),
                          [&](const DelegateMessage& row) { return row.message == &message; }) +
            std::count(std::begin(kUnforwardedMessages), std::end(kUnforwardedMessages), &message);
        if (rows != 1) isComplete = false;
      });
      return isComplete;
    }(),
    "a message of UIApplicationDelegate has no row, or more than one");

}  // namespace tidewell
