#include "BackendControl.h"

#include <httplib.h>

#include <algorithm>

namespace {

bool post(int port, const std::string& path, const std::string& body) {
  httplib::Client client("127.0.0.1", port);
  const auto reply = client.Post(path, body, "text/plain");
  return reply && reply->status / 100 == 2;
}

}  // namespace

bool BackendControl::setConfiguration(const std::string& json) const { return post(port_, "/control/config", json); }

bool BackendControl::addFault(const std::string& fault) const { return post(port_, "/control/fault", fault); }

int BackendControl::requestCount() const {
  httplib::Client client("127.0.0.1", port_);
  const auto reply = client.Get("/control/requests");
  if (!reply || reply->status != 200) return -1;
  return static_cast<int>(std::count(reply->body.begin(), reply->body.end(), '\n'));
}
