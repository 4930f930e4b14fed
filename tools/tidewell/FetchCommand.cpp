// SPDX-License-Identifier: Apache-2.0
// `tidewell fetch`.

#include <fmt/format.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "Commands.h"
#include "Output.h"
#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWNetwork/TWNetworkConfiguration.h"
#include "tidewell/core/TWNetwork/TWNetworkConstants.h"
#include "tidewell/core/TWNetwork/TWNetworkRequest.h"
#include "tidewell/core/TidewellCore.h"
#include "tidewell/posix/PosixPlatform.h"

namespace tidewell::tool {
namespace {

struct FetchVariables {
  std::string appID;
  std::string region = "default";
  std::string host;
  std::string caFile;
  bool json = false;
};

/// A folder for the identity that a request carries, so that no application's container is touched.
class TemporaryFolder {
 public:
  TemporaryFolder() : path_((std::filesystem::temp_directory_path() / "tidewell-fetch-XXXXXX").string()) {
    if (mkdtemp(path_.data()) == nullptr) throw Failure("no temporary folder can be made");
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// A result that another thread provides.
class Reply {
 public:
  void set(platform::UrlTaskResult result) {
    const std::lock_guard lock(mutex_);
    result_ = std::move(result);
    changed_.notify_one();
  }
  /// Calls `onDelay` if there is no result after a second.
  template <class Function>
  platform::UrlTaskResult wait(Function onDelay) {
    std::unique_lock lock(mutex_);
    const auto isThere = [this] { return result_.has_value(); };
    if (!changed_.wait_for(lock, std::chrono::seconds(1), isThere)) {
      onDelay();
      changed_.wait(lock, isThere);
    }
    return std::move(*result_);
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::optional<platform::UrlTaskResult> result_;
};

platform::UrlRequest requestFor(const FetchVariables& variables) {
  base::Dictionary body;
  if (auto parameters = TWNetworkConfiguration::getQueryParamsBodyDictForService(TWServiceGetConfig)) {
    parameters->setObject(variables.appID, "app_id");
    body.setObject(std::move(*parameters), "query_params");
  }
  const TWNetworkRequest request(TWServiceGetConfig, std::nullopt, std::nullopt, std::move(body),
                                 variables.appID);
  const auto instance = request.getRequestInstance();
  if (!instance || !instance->URL()) throw Failure("no request can be built for this App ID");
  platform::UrlRequest result = *instance;
  result.setValue(variables.appID, kAPIHeadersAppID);
  return result;
}

base::Dictionary dictionaryOf(const std::string& url, const platform::UrlTaskResult& result) {
  base::Dictionary entry{{"url", url}, {"status", result.response ? result.response->statusCode : 0}};
  if (result.error) entry.setObject(result.error->localizedDescription, "error");
  if (result.data) entry.setObject(std::string(result.data->view()), "body");
  return entry;
}

int fetch(const FetchVariables& variables) {
  const TemporaryFolder folder;
  static const std::map<std::string, std::pair<TWDataRegion, platform::ServiceHost>> regions{
      {"default", {TWDataRegionDefault, platform::ServiceHost::us}},
      {"serv3", {TWDataRegionServ3, platform::ServiceHost::serv3}},
      {"europe", {TWDataRegionEurope, platform::ServiceHost::eu}}};
  const auto& [region, host] = regions.at(variables.region);
  posix::Options options;
  options.setBundleIdentifier("tidewell.fetch")
      .setVersion(TIDEWELL_VERSION_STRING)
      .setDataHome(folder.path());
  options.setConsoleSink([](std::string_view) {})
      .setCaFile(variables.caFile)
      .setDisabled(false)
      .setOffline(false);
  if (!variables.host.empty()) options.setServiceHost(host, variables.host);
  if (const std::string complaint = posix::complaintAbout(options); !complaint.empty())
    throw Failure(complaint);
  posix::PosixPlatform* const platform = posix::install(std::move(options));
  if (platform == nullptr) throw Failure("the platform cannot be installed");
  TidewellCore::sharedInstance().redirectDataToRegion(region);

  platform::UrlRequest request = requestFor(variables);
  const std::string url(request.URL()->absoluteString());
  const auto reply = std::make_shared<Reply>();
  platform::UrlSessionConfiguration configuration;
  configuration.httpsOnly = true;
  const auto session = platform->makeUrlSession(std::move(configuration));
  session->dataTaskWithRequest(std::move(request),
                               [reply](platform::UrlTaskResult result) { reply->set(std::move(result)); });
  const platform::UrlTaskResult result = reply->wait([&] {
    if (isatty(STDERR_FILENO) != 0) std::fprintf(stderr, "waiting for %s …\n", visible(url).c_str());
  });

  const bool isReply = result.response && result.response->statusCode == kServiceStatusOK && !result.error;
  if (variables.json) {
    printJson(dictionaryOf(url, result));
  } else if (isReply) {
    // The reply alone goes to standard output, for `tidewell lint -`. A terminal gets it escaped.
    const std::string body(result.data ? result.data->view() : std::string_view());
    if (body.empty()) throw Failure(visible(url) + ": the reply is empty");
    const base::Value json = base::JSONObjectWithData(body);
    printLine(json ? base::dataWithJSONObject(json, base::JsonWriting::prettyPrinted) : visible(body));
  } else {
    const std::string why = result.error      ? result.error->localizedDescription
                            : result.response ? fmt::format("status {}", result.response->statusCode)
                                              : "no response";
    std::fprintf(stderr, "tidewell: %s: %s\n", visible(url).c_str(), visible(why).c_str());
  }
  return isReply ? kSuccess : kFound;
}

}  // namespace

void addFetch(tools::Command program) {
  addCommand<FetchVariables>(
      program, "fetch",
      "Asks the configuration service as the SDK would and prints the reply, or why there is "
      "none. Touches no application's files.",
      &fetch, [](tools::Command to, FetchVariables& variables) {
        to.option("--app-id", variables.appID, "the App ID").required().value("ID");
        to.option("--region", variables.region, "the data centre")
            .oneOf({"default", "serv3", "europe"})
            .value("REGION");
        to.option("--host", variables.host, "another host, as HOST or HOST:PORT").value("HOST");
        to.option("--ca", variables.caFile, "PEM file of trusted certificates").value("FILE");
        to.flag("--json", variables.json, "print one JSON object");
      });
}

}  // namespace tidewell::tool
