#pragma once

#include <cstddef>

#include "tidewell/base/Export.h"
#include "tidewell/base/Value.h"
#include "tidewell/runtime/ClassBuilder.h"
#include "tidewell/runtime/Make.h"
#include "tidewell/runtime/Message.h"

namespace tidewell {

/// The base of simple model objects, which can turn their properties into a dictionary:
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
/// Used by one thread at a time.
class TIDEWELL_EXPORT TWModelObject : public runtime::Subclass<TWModelObject> {
 public:
  TWModelObject();
  /// `initWithDictionary:`. The dictionary is for classes below this one: nothing is read from it here.
  explicit TWModelObject(const base::Dictionary& dictionary);
  ~TWModelObject() override;

  /// The properties that the object's own class declares, in that order; those of the classes above it are
  /// not among them. A nil value is left out; a model object becomes its own dictionary. Arrays and
  /// dictionaries are taken as they are, model objects in them included.
  ///
  /// Raises what a getter raises, and `kInvalidArgumentException` for model objects that are nested deeper
  /// than `kMaximumDepth`, as those are that hold each other.
  [[nodiscard]] virtual base::Dictionary dictionaryWithProperties();
  static constexpr int kMaximumDepth = 512;

  static void describe(runtime::ClassBuilder<TWModelObject>& c);
};

inline constinit const runtime::Message<base::Dictionary()> kDictionaryWithProperties{
    "dictionaryWithProperties"};

}  // namespace tidewell
