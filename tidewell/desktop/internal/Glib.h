// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <glib-object.h>

#include <memory>
#include <string>
#include <string_view>

namespace tidewell::desktop {

struct GlibDeleter {
  void operator()(char* text) const noexcept { g_free(text); }
  void operator()(GError* error) const noexcept { g_error_free(error); }
};
/// Results of GLib that the caller must free.
using OwnedText = std::unique_ptr<char, GlibDeleter>;
using OwnedError = std::unique_ptr<GError, GlibDeleter>;

/// Takes ownership of a call's error; null if there was none.
[[nodiscard]] inline OwnedError own(GError* error) noexcept { return OwnedError(error); }
[[nodiscard]] inline std::string textOf(const OwnedError& error) {
  return error ? error->message : "unknown error";
}
[[nodiscard]] inline std::string textOf(const char* text) { return text ? text : ""; }

struct ObjectDeleter {
  void operator()(gpointer object) const noexcept { g_object_unref(object); }
};
/// A reference to an object, released on destruction.
template <class T>
using Owned = std::unique_ptr<T, ObjectDeleter>;

/// Adds a reference to an object that also has another owner.
template <class T>
[[nodiscard]] Owned<T> share(T* object) {
  return Owned<T>(object ? static_cast<T*>(g_object_ref(object)) : nullptr);
}

/// Text for a widget: valid UTF-8, truncated to about `bound` bytes.
[[nodiscard]] inline std::string displayText(std::string_view text, std::size_t bound = 4096) {
  const bool isLong = text.size() > bound;
  text = text.substr(0, bound);
  const OwnedText valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
  return valid.get() + std::string(isLong ? "…" : "");
}

}  // namespace tidewell::desktop
