// SPDX-License-Identifier: Apache-2.0
// `tidewell archive show` and `tidewell archive convert`.

#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "Commands.h"
#include "Output.h"
#include "PropertyListJson.h"
#include "tidewell/base/Exception.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/base/formats/PropertyList.h"
#include "tidewell/core/TWConfigManager/TWConfigConstant.h"
#include "tidewell/core/TWUtils/internal/IdentifierKeys.h"

namespace tidewell::tool {
namespace {

using base::Dictionary;
using base::Value;
using base::ValueKind;

enum class Format { binary, xml, json };

struct Archive {
  Value contents;
  Format format = Format::binary;
};

Archive readArchive(const std::string& path) {
  const std::string bytes = readInput(path, base::kMaximumPropertyListBytes);
  if (const Value contents = base::archiveContentsWithData(bytes)) {
    return {contents, bytes.starts_with("bplist") ? Format::binary : Format::xml};
  }
  if (const Value json = base::JSONObjectWithData(bytes)) {
    try {
      return {propertyListWithJson(json), Format::json};
    } catch (const base::Exception& exception) {
      throw Failure(visible(path) + ": " + exception.what());
    }
  }
  throw Failure(visible(path) + ": neither a property list (binary or XML) nor JSON, or too large");
}

std::string bytesOf(const Value& contents, Format format) {
  if (format == Format::json) {
    return base::dataWithJSONObject(jsonWithPropertyList(contents), base::JsonWriting::prettyPrinted) + "\n";
  }
  return base::dataWithArchiveContents(
      contents, format == Format::xml ? base::PropertyListFormat::xml : base::PropertyListFormat::binary);
}

// ---- show

struct ShowVariables {
  std::string file;
  bool json = false;
  bool secrets = false;
};

/// Prints an archive's objects as a tree, with references followed. Objects that many references share are
/// printed for each, so the number of lines is bounded.
class Tree {
 public:
  explicit Tree(const Value& contents, bool showsSecrets) : showsSecrets_(showsSecrets) {
    const Dictionary* const list = contents.dictionary();
    const Value objects = list ? list->objectForKey("$objects") : Value();
    if (objects.array() && list->find("$archiver")) objects_ = *objects.array();
  }

  void print(const Value& value, std::string_view label, int level) {
    if (lines_ == kMost) return;
    if (++lines_ == kMost) return printLine("… (the rest is left out)");
    const std::string start = std::string(static_cast<std::size_t>(level) * 2, ' ') + std::string(label);
    const Value target = followed(value);
    if (level > kDeepest) return printLine(start + " …");
    if (isSecret(label) && target.length() > 0 && !showsSecrets_) {
      return printLine(start + " " + shortened(*target.string()) + styled(" (shortened)", Style::faint));
    }
    if (const auto entries = entriesOf(target)) {
      printLine(start + fmt::format(" {} {}", entries->count(), entries->count() == 1 ? "entry" : "entries"));
      for (const Value& entry : *entries) print(entry, "-", level + 1);
    } else if (const Dictionary* const dictionary = target.dictionary()) {
      printDictionary(*dictionary, start, level);
    } else {
      printLine(start + " " + textOf(target));
    }
  }

 private:
  static constexpr int kMost = 100'000;
  static constexpr int kDeepest = 64;

  static bool isSecret(std::string_view label) {
    const std::string_view key = label.substr(0, label.size() - 1);
    return key == CONFIG_LOGENTRIES_TOKEN || key == kDeviceTokenKey;
  }

  /// The object that a reference names; other values as they are.
  Value followed(const Value& value) const {
    const Dictionary* const dictionary = value.dictionary();
    const Value number = dictionary && dictionary->count() == 1 && !objects_.empty()
                             ? dictionary->objectForKey(base::kArchiveReferenceKey)
                             : Value();
    if (!number.isNumber()) return value;
    const auto index = static_cast<std::uint64_t>(number.integerValue());
    if (index >= objects_.count()) return "(a reference out of the archive)";
    const Value& target = objects_.objectAtIndex(index);
    return index == 0 && target.isEqualToString("$null") ? Value::null() : target;
  }

  std::string classOf(const Dictionary& object) const {
    const Value* const reference = object.find("$class");
    const Value description = reference ? followed(*reference) : Value();
    const Value name =
        description.dictionary() ? description.dictionary()->objectForKey("$classname") : Value();
    return name.isString() ? *name.string() : "";
  }

  /// The entries of an array, plain or archived.
  std::optional<base::Array> entriesOf(const Value& value) const {
    if (value.array()) return *value.array();
    const Dictionary* const object = value.dictionary();
    if (!object || object->find("NS.keys") || classOf(*object).empty()) return {};
    const Value entries = object->objectForKey("NS.objects");
    if (entries.array()) return *entries.array();
    return {};
  }

  void printDictionary(const Dictionary& object, const std::string& start, int level) {
    const Value keys = object.objectForKey("NS.keys");
    const Value values = object.objectForKey("NS.objects");
    const std::string name = classOf(object);
    if (keys.array() && values.array() && keys.array()->count() == values.array()->count()) {
      printLine(start);
      for (std::size_t i = 0; i < keys.array()->count(); ++i) {
        const Value key = followed(keys.array()->objectAtIndex(i));
        print(values.array()->objectAtIndex(i), labelOf(key.isString() ? *key.string() : "?"), level + 1);
      }
      return;
    }
    printLine(start + (name.empty() ? "" : " " + visible(name)));
    for (const auto& [key, entry] : object) {
      if (key != "$class" || name.empty()) print(entry, labelOf(key), level + 1);
    }
  }

  static std::string labelOf(std::string_view key) { return visible(key) + ":"; }

  static std::string textOf(const Value& value) {
    switch (value.kind()) {
      case ValueKind::string:
        return inQuotes(*value.string());
      case ValueKind::date:
        return value.date()->description();
      case ValueKind::data:
        return fmt::format("{} bytes of data", value.data()->length());
      case ValueKind::boolean:
        return value.boolValue() ? "true" : "false";
      case ValueKind::null:
        return "nil";
      default:
        return visible(value.description());
    }
  }

  const bool showsSecrets_;
  base::Array objects_;
  int lines_ = 0;
};

int show(const ShowVariables& variables) {
  const Archive archive = readArchive(variables.file);
  if (variables.json) {
    printJson(jsonWithPropertyList(archive.contents));
    return kSuccess;
  }
  const Dictionary* const list = archive.contents.dictionary();
  const Value top = list && list->find("$archiver") ? list->objectForKey("$top") : Value();
  const Value* const root = top.dictionary() ? top.dictionary()->find("root") : nullptr;
  Tree(archive.contents, variables.secrets)
      .print(root ? *root : archive.contents, root ? "root:" : "property list:", 0);
  return kSuccess;
}

// ---- convert

struct ConvertVariables {
  std::string file;
  std::string to;
  std::string output;
  bool allowsLoss = false;
};

int convert(const ConvertVariables& variables) {
  const Format to = variables.to == "binary" ? Format::binary
                    : variables.to == "xml"  ? Format::xml
                                             : Format::json;
  const Archive archive = readArchive(variables.file);
  const std::string bytes = bytesOf(archive.contents, to);
  if (!variables.allowsLoss) {
    const Value again = to == Format::json ? propertyListWithJson(base::JSONObjectWithData(bytes))
                                           : base::archiveContentsWithData(bytes);
    // Compared as bytes, because NaN does not equal itself.
    if (!again || bytesOf(again, Format::binary) != bytesOf(archive.contents, Format::binary)) {
      throw Failure(
          visible(variables.file) +
          ": the format cannot hold all of it (XML dates have whole seconds); --allow-loss writes it");
    }
  }
  if (variables.output.empty()) {
    if (to == Format::binary && isatty(STDOUT_FILENO) == 1) {
      throw Failure("a binary property list is not written to a terminal; use --output");
    }
    std::fwrite(bytes.data(), 1, bytes.size(), stdout);
    return kSuccess;
  }
  std::ofstream file(variables.output, std::ios::binary | std::ios::trunc);
  if (!file.write(bytes.data(), static_cast<std::streamsize>(bytes.size())).flush()) {
    throw Failure(visible(variables.output) + ": cannot be written");
  }
  return kSuccess;
}

}  // namespace

void addArchive(tools::Command program) {
  tools::Command archive = program.add("archive", "Shows or converts a keyed archive or property list.");
  addCommand<ShowVariables>(archive, "show", "Prints the objects of an archive as a tree.", &show,
                            [](tools::Command to, ShowVariables& variables) {
                              to.option("FILE", variables.file,
                                        "binary or XML property list, or JSON; - reads standard input")
                                  .required();
                              to.flag("--json", variables.json, "print the JSON form of `convert`");
                              to.flag("--secrets", variables.secrets, "print tokens in full");
                            });
  addCommand<ConvertVariables>(
      archive, "convert",
      "Converts between binary, XML and JSON without loss. In JSON, what JSON cannot hold is written as "
      "{\"$real\": \"0.1\"}, {\"$date\": \"SECONDS\"} (since 1970 UTC) or {\"$data\": \"BASE64\"}.",
      &convert, [](tools::Command to, ConvertVariables& variables) {
        to.option("FILE", variables.file, "binary or XML property list, or JSON; - reads standard input")
            .required();
        to.option("--to", variables.to, "the format to write")
            .required()
            .oneOf({"binary", "xml", "json"})
            .value("FORMAT");
        to.option("--output", variables.output, "the file to write instead of standard output");
        to.flag("--allow-loss", variables.allowsLoss, "write it even if the format cannot hold all of it");
      });
}

}  // namespace tidewell::tool
