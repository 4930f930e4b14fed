// SPDX-License-Identifier: Apache-2.0
#include <dirent.h>
#include <fcntl.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstdlib>
#include <memory>
#include <set>
#include <vector>

#include "tidewell/posix/internal/curl/WakeUpSockets.h"

namespace tidewell::posix {
namespace {

std::set<int> openDescriptors() {
  std::set<int> descriptors;
  const std::unique_ptr<DIR, int (*)(DIR*)> folder(opendir("/proc/self/fd"), closedir);
  if (folder == nullptr) return descriptors;
  while (const dirent* entry = readdir(folder.get())) {
    if (entry->d_name[0] != '.') descriptors.insert(std::atoi(entry->d_name));
  }
  descriptors.erase(dirfd(folder.get()));
  return descriptors;
}

/// Whether this may be an end of libcurl's pair: a non-blocking local stream socket without close-on-exec.
bool isCandidate(int descriptor) {
  int domain = 0;
  socklen_t length = sizeof domain;
  if (getsockopt(descriptor, SOL_SOCKET, SO_DOMAIN, &domain, &length) != 0 || domain != AF_UNIX) return false;
  const int closing = fcntl(descriptor, F_GETFD);
  const int blocking = fcntl(descriptor, F_GETFL);
  return closing >= 0 && (closing & FD_CLOEXEC) == 0 && blocking >= 0 && (blocking & O_NONBLOCK) != 0;
}

/// Whether bytes are waiting to be read here or at the other end.
bool holdsBytes(int descriptor) {
  int unread = 0;
  int unreadByPeer = 0;
  ioctl(descriptor, FIONREAD, &unread);
  ioctl(descriptor, SIOCOUTQ, &unreadByPeer);
  return unread > 0 || unreadByPeer > 0;
}

template <class Condition>
void keepOnly(std::vector<int>& descriptors, Condition condition) {
  std::erase_if(descriptors, [&](int descriptor) { return !condition(descriptor); });
}

}  // namespace

CURLM* makeMultiHandle() {
  const std::set<int> before = openDescriptors();
  std::unique_ptr<CURLM, CURLMcode (*)(CURLM*)> multi(curl_multi_init(), curl_multi_cleanup);
  if (multi == nullptr) return nullptr;
  // Another thread of the host may have opened a socket at the same time. Ours are the two that fill and
  // empty with a wake-up.
  std::vector<int> candidates;
  for (const int descriptor : openDescriptors()) {
    if (!before.contains(descriptor) && isCandidate(descriptor)) candidates.push_back(descriptor);
  }
  keepOnly(candidates, [](int descriptor) { return !holdsBytes(descriptor); });
  curl_multi_wakeup(multi.get());
  keepOnly(candidates, [](int descriptor) { return holdsBytes(descriptor); });
  curl_multi_poll(multi.get(), nullptr, 0, 0, nullptr);
  keepOnly(candidates, [](int descriptor) { return !holdsBytes(descriptor); });
  for (const int descriptor : candidates) fcntl(descriptor, F_SETFD, FD_CLOEXEC);
  return multi.release();
}

}  // namespace tidewell::posix
