#include "engine/web/PageFetcher.h"

#include <cassert>
#include <new>
#include <utility>

#include "engine/net/Deadline.h"
#include "engine/net/Reason.h"
#include "engine/web/WebFetch.h"

namespace norvane::engine {

using End = console::engine::PageReply::End;

class PageFetcher::Fetching final : public ProbeClient {
 public:
  Fetching(PageFetcher& owner, FetchRequest request, std::uint64_t ticket)
      : m_owner(owner),
        m_ticket(ticket),
        m_deadline(owner.m_context.loop, *this, [this] { TimeOut(); }),
        m_fetch(MakeWebFetch(owner.m_transfers, owner.m_context,
                             {.url = std::move(request.url), .anyStatus = true, .keepsPage = true},
                             request.limit, *this)),
        m_limit(request.limit) {}

  void Begin() {
    m_deadline.Set(m_limit);
    m_fetch->Begin();
  }
  void Stop() { Deliver(End::Complete, {}); }
  void Ended(std::string failure) noexcept override {
    Deliver(failure.empty() ? End::Complete : End::Failed, failure);
  }
  void Broke(const std::string& why) override {
    m_owner.m_context.loop.Log("fetch of a page: " + why);
    Ended(why);
  }

 private:
  void TimeOut() { Deliver(End::TimedOut, NoAnswerWithin(m_limit, m_fetch->Step())); }
  void Deliver(End end, const std::string& reason) noexcept {
    auto& loop = m_owner.m_context.loop;
    loop.Serve(loop, [&] {
      FetchEnded ended{m_ticket, {End::Failed, "out of memory", {}, {}}};
      try {
        console::engine::PageReply reply{end, PlainText(reason), {}, {}};
        if (end == End::Complete) {
          const auto page = m_fetch->Received();
          reply.contentType = page.contentType;
          reply.body = page.body;
          reply.status = page.status;
        }
        ended.reply = std::move(reply);
      } catch (const std::bad_alloc&) {
        loop.Log("fetch of a page: out of memory");
      }
      m_owner.m_deliver(std::move(ended));
    });
    m_owner.m_inFlight.erase(m_owner.m_inFlight.find(m_ticket));  // this object
  }

  PageFetcher& m_owner;
  std::uint64_t m_ticket;
  Deadline m_deadline;
  std::unique_ptr<WebFetch> m_fetch;
  std::chrono::milliseconds m_limit;
};

PageFetcher::PageFetcher(ProbeContext& context, Deliver deliver)
    : m_context{context.loop, context.resolver, context.tls,  context.charset,
                m_quota,      context.calls,    context.pool, context.mailServers},
      m_transfers(context.loop, context.tls),
      m_deliver(std::move(deliver)) {}

PageFetcher::~PageFetcher() = default;

void PageFetcher::Fetch(FetchRequest request, std::uint64_t ticket) {
  assert(m_context.loop.IsInside());
  auto& fetching = *(m_inFlight[ticket] = std::make_unique<Fetching>(*this, std::move(request), ticket));
  m_context.loop.Serve(fetching, [&] { fetching.Begin(); });
}

void PageFetcher::Stop(std::uint64_t ticket) {
  assert(m_context.loop.IsInside());
  if (const auto found = m_inFlight.find(ticket); found != m_inFlight.end()) found->second->Stop();
}

}  // namespace norvane::engine
