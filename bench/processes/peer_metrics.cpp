// SPDX-License-Identifier: Apache-2.0
// prometheus-cpp: a registry with a counter, and the client that would push it; then the first count.
#include <prometheus/counter.h>
#include <prometheus/gateway.h>
#include <prometheus/registry.h>

#include <memory>

#include "Peer.h"

int main(int argc, char**) {
  struct Started {
    std::shared_ptr<prometheus::Registry> registry;
    std::unique_ptr<prometheus::Gateway> gateway;
    prometheus::Family<prometheus::Counter>* events;
  };
  const auto start = [] {
    Started started{std::make_shared<prometheus::Registry>(),
                    std::make_unique<prometheus::Gateway>("127.0.0.1", "9", "peer"), nullptr};
    started.gateway->RegisterCollectable(started.registry);
    started.events = &prometheus::BuildCounter().Name("events").Register(*started.registry);
    return started;
  };
  return bench::runPeer(argc, start, [](Started& started) { started.events->Add({}).Increment(); });
}
