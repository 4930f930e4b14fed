#include "BackendControl.h"

#include <httplib.h>

#include <algorithm>
#include <sstream>

#include "tidewell/base/formats/Json.h"
#include "tidewell/core/TWNetwork/TWNetworkConstants.h"

namespace {

bool post(int port, const std::string& path, const std::string& body) {
  httplib::Client client("127.0.0.1", port);
  const auto reply = client.Post(path, body, "text/plain");
  return reply && reply->status / 100 == 2;
}

/// One JSON object a line.
std::string receivedRequests(int port) {
  httplib::Client client("127.0.0.1", port);
  const auto reply = client.Get("/control/requests");
  return reply && reply->status == 200 ? reply->body : std::string();
}

}  // namespace

bool BackendControl::setConfiguration(const std::string& json) const {
  return post(port_, "/control/config", json);
}

bool BackendControl::addFault(const std::string& fault) const { return post(port_, "/control/fault", fault); }

int BackendControl::requestCount() const {
  const std::string requests = receivedRequests(port_);
  return static_cast<int>(std::count(requests.begin(), requests.end(), '\n'));
}

std::string BackendControl::lastShippedLine() const {
  using tidewell::base::JSONObjectWithData;
  using tidewell::base::valueForKeyPath;
  std::string last;
  std::istringstream requests(receivedRequests(port_));
  for (std::string line; std::getline(requests, line);) {
    const auto request = JSONObjectWithData(line);
    if (!valueForKeyPath(request, "service").isNumber()) continue;
    if (valueForKeyPath(request, "service").integerValue() != tidewell::TWServiceSendLogs) continue;
    const auto payload = JSONObjectWithData(valueForKeyPath(request, "body").description());
    last = valueForKeyPath(payload, "msg").description();
  }
  return last;
}
