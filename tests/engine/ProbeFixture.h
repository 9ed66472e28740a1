#pragma once

#include <cstddef>
#include <string>

#include "engine/mail/MailServerTable.h"
#include "engine/net/LoopQueue.h"
#include "engine/net/PageQuota.h"
#include "engine/net/Probe.h"
#include "engine/net/ThreadPool.h"

namespace norvane::tests {

/// What probes in `loop` share.
struct ProbeFixture {
  explicit ProbeFixture(engine::EventLoop& eventLoop, std::size_t pageBytes = 0,
                        const std::string& authorities = "/etc/ssl/certs/ca-certificates.crt")
      : loop(eventLoop), tls(authorities), quota(pageBytes) {}

  engine::EventLoop& loop;
  engine::Resolver resolver{loop, {}};
  engine::TlsClient tls;
  const platform::LegacyCharset charset{};
  engine::PageQuota quota;
  engine::LoopQueue calls{loop};
  engine::ThreadPool pool{1};
  engine::MailServerTable mailServers;
  engine::ProbeContext context{loop, resolver, tls, charset, quota, calls, pool, mailServers};
};

}  // namespace norvane::tests
