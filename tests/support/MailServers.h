#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "platform/EventFd.h"
#include "platform/FileDescriptor.h"
#include "tests/support/Certificates.h"

namespace norvane::tests {

/// What a server says at one point of its dialogue, and how.
struct MailAnswer {
  enum class End {
    Stay,     ///< waits for the next command
    Silence,  ///< keeps the connection and takes no notice of anything
    Close,
    Reset,
    Tls,  ///< goes on in TLS
  };
  std::string bytes;
  End end = End::Stay;
  std::string forEver{};               ///< after the bytes, again and again
  std::chrono::milliseconds delay{0};  ///< before the first byte
  std::chrono::milliseconds pace{0};   ///< unless 0: one byte each time this has passed
};

/// A server of a line protocol on a loopback port of its own, in a thread of its own. It behaves well but
/// where it is told otherwise.
class MailServer {
 public:
  struct Options {
    std::optional<Identity> tls{};      ///< offers the upgrade to TLS
    bool isTlsFromStart = false;        ///< no upgrade, but TLS at once
    std::chrono::milliseconds pace{0};  ///< of everything that is said
  };
  /// A point at which `Set` changes what is said; the others are commands ("RCPT"), in capitals.
  static constexpr const char* Greeting = "";

  virtual ~MailServer();
  MailServer(const MailServer&) = delete;
  MailServer& operator=(const MailServer&) = delete;

  [[nodiscard]] int Port() const { return m_port; }
  /// "127.0.0.1:PORT".
  [[nodiscard]] std::string Address(const std::string& host = "127.0.0.1") const;

  /// From now on `answer` is said at `point`, whatever came before.
  void Set(const std::string& point, MailAnswer answer);
  /// The commands so far, in order, those within TLS behind "tls ". Not the lines of mails.
  [[nodiscard]] std::vector<std::string> Commands() const;
  /// The same, once there are `count`; fewer after ten seconds.
  [[nodiscard]] std::vector<std::string> WaitForCommands(std::size_t count);

 protected:
  /// What one connection knows.
  struct Session {
    bool isSecured = false;
    std::string account{}, from{}, to{}, text{};
    bool isInText = false;
  };

  explicit MailServer(const Options& options);
  /// To be called at the end of the constructor of what derives from this, and at the begin of its
  /// destructor.
  void Start();
  void Stop();

  /// Called in the server's thread.
  [[nodiscard]] virtual MailAnswer Greet(Session& session) = 0;
  [[nodiscard]] virtual MailAnswer Answer(Session& session, const std::string& line) = 0;

  [[nodiscard]] bool OffersTls(const Session& session) const;
  mutable std::mutex m_mutex;  // guards what both threads touch

 private:
  class Connection;

  void Run();
  void Accept();
  [[nodiscard]] MailAnswer Respond(Session& session, const std::string* line);

  Options m_options;
  TlsContext m_tls;
  int m_port = 0;  // told by the listener's making
  platform::FileDescriptor m_listener;
  platform::FileDescriptor m_epoll;
  platform::EventFd m_stop;
  std::map<std::string, MailAnswer> m_answers;
  std::vector<std::string> m_commands;
  std::condition_variable m_moreCommands;
  std::map<int, std::unique_ptr<Connection>> m_connections;
  std::thread m_thread;
};

/// Mailboxes with accounts.
class Pop3Server : public MailServer {
 public:
  struct Account {
    std::string password;
    int mails = 0;
  };
  struct Pop3Options {
    Options common{};
    std::string timestamp{};      ///< offers APOP: "<1.2@host>"
    bool refusesApop = false;     ///< all the same
    bool hasCapabilities = true;  ///< knows CAPA
  };

  Pop3Server() : Pop3Server(Pop3Options{}) {}
  explicit Pop3Server(const Pop3Options& options);
  ~Pop3Server() override { Stop(); }

  void SetAccount(const std::string& name, Account account);

 private:
  MailAnswer Greet(Session& session) override;
  MailAnswer Answer(Session& session, const std::string& line) override;
  [[nodiscard]] std::string Capabilities(const Session& session) const;
  [[nodiscard]] MailAnswer LogOn(Session& session, const std::string& password);
  [[nodiscard]] bool KnowsDigest(const std::string& account, const std::string& digest);

  Pop3Options m_pop3;
  std::map<std::string, Account> m_accounts;
};

/// Takes mails and keeps them.
class SmtpServer : public MailServer {
 public:
  struct ReceivedMail {
    std::string from;  ///< with its parameters: "<a@b> SMTPUTF8"
    std::string to;
    std::string text;  ///< without the dots of the transport; lines end in CR LF
    bool wasSecured = false;
  };
  struct SmtpOptions {
    Options common{};
    bool knowsEhlo = true;
    bool offersUtf8 = true;
  };

  SmtpServer() : SmtpServer(SmtpOptions{}) {}
  explicit SmtpServer(const SmtpOptions& options);
  ~SmtpServer() override { Stop(); }

  [[nodiscard]] std::vector<ReceivedMail> Mails() const;

 private:
  MailAnswer Greet(Session& session) override;
  MailAnswer Answer(Session& session, const std::string& line) override;
  [[nodiscard]] MailAnswer TakeText(Session& session, const std::string& line);
  [[nodiscard]] std::string Extensions(const Session& session) const;

  SmtpOptions m_smtp;
  std::vector<ReceivedMail> m_mails;
};

}  // namespace norvane::tests
