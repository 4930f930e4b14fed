// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/runtime/ClassBuilder.h"
#include "tidewell/runtime/Make.h"
#include "tidewell/runtime/Message.h"

namespace tidewell {

/// Base class of simple model objects, which can convert their properties to a dictionary:
///
///     class Campaign : public runtime::Subclass<Campaign, TWModelObject> {
///      public:
///       std::optional<std::string> title;
///       std::shared_ptr<Banner> banner;
///       static void describe(runtime::ClassBuilder<Campaign>& c) {
///         c.property<&Campaign::title>("title").property<&Campaign::banner>("banner");
///       }
///     };
///
/// For one thread at a time.
class TIDEWELL_EXPORT TWModelObject : public runtime::Subclass<TWModelObject> {
 public:
  TWModelObject();
  /// `initWithDictionary:`. Ignores the dictionary, which is meant for derived classes.
  explicit TWModelObject(const base::Dictionary& dictionary);
  ~TWModelObject() override;

  /// The properties declared by the object's own class, in that order, without those of its superclasses.
  /// Omits nil values and converts model objects to their own dictionaries. Arrays and dictionaries are
  /// copied unchanged, including model objects in them.
  ///
  /// Propagates exceptions of getters. Raises `kInvalidArgumentException` for model objects nested deeper
  /// than `kMaximumDepth`, which includes cycles.
  [[nodiscard]] virtual base::Dictionary dictionaryWithProperties();
  static constexpr int kMaximumDepth = 512;

  static void describe(runtime::ClassBuilder<TWModelObject>& c);
};

inline constinit const runtime::Message<base::Dictionary()> kDictionaryWithProperties{
    "dictionaryWithProperties"};

}  // namespace tidewell
