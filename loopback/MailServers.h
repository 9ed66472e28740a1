#pragma once

#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "loopback/LoopbackServer.h"

namespace norvane::loopback {

using MailAnswer = Saying;

/// A server of a line protocol. It behaves well unless told otherwise.
class MailServer {
 public:
  using Options = LoopbackServer::Options;  ///< with an identity, it offers the upgrade to TLS
  /// A point at which `Set` changes what is said; the others are commands ("RCPT"), in capitals.
  static constexpr const char* Greeting = "";

  virtual ~MailServer() = default;
  MailServer(const MailServer&) = delete;
  MailServer& operator=(const MailServer&) = delete;

  [[nodiscard]] int Port() const { return m_server->Port(); }
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
    bool isGreeted = false, isSecured = false;
    std::string account{}, from{}, to{}, text{};
    bool isInText = false;
    int mails = 0;                     // so far
    std::string mechanism{};           // of the logon under way
    std::vector<std::string> logon{};  // what the client has said in it
    [[nodiscard]] bool IsLoggingOn() const { return !mechanism.empty(); }
  };

  explicit MailServer(Options options);
  /// To be called at the end of the constructor of what derives from this, and at the begin of its
  /// destructor.
  void Start();
  void Stop() { m_server.reset(); }

  /// Called in the server's thread.
  [[nodiscard]] virtual MailAnswer Greet(Session& session) = 0;
  [[nodiscard]] virtual MailAnswer Answer(Session& session, const std::string& line) = 0;

  [[nodiscard]] bool OffersTls(const Session& session) const;
  mutable std::mutex m_mutex;  // guards what both threads touch

 private:
  [[nodiscard]] LoopbackServer::Dialogue Begin();
  [[nodiscard]] MailAnswer Respond(Session& session, const std::string* line);

  const Options m_options;
  std::map<std::string, MailAnswer> m_answers;
  std::vector<std::string> m_commands;
  std::condition_variable m_moreCommands;
  std::optional<LoopbackServer> m_server;
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

/// Receives mails and keeps them.
class SmtpServer : public MailServer {
 public:
  struct ReceivedMail {
    std::string from;  ///< with its parameters: "<a@b> SMTPUTF8"
    std::string to;    ///< those accepted, each as "<c@d>"
    std::string text;  ///< without the dots of the transport; lines end in CR LF
    bool wasSecured = false;
  };
  struct SmtpOptions {
    Options common{};
    bool knowsEhlo = true;
    bool offersUtf8 = true;
    std::string mechanisms{};  ///< of logons, offered with and without TLS
    bool hidesThemInTls = false;
    std::string user{}, password{};
    bool forgesSignature = false;                  ///< does not know the password itself
    int maxMails = 0;                              ///< of a connection; 0: any number
    std::string limits{};                          ///< offered, as "MAILMAX=3"
    int maxSize = 0;                               ///< likewise, of a mail; 0: not told
    std::map<std::string, std::string> refused{};  ///< answers to recipients, such as "<c@d>"
  };

  SmtpServer() : SmtpServer(SmtpOptions{}) {}
  explicit SmtpServer(const SmtpOptions& options);
  ~SmtpServer() override { Stop(); }

  [[nodiscard]] std::vector<ReceivedMail> Mails() const;

 private:
  MailAnswer Greet(Session& session) override;
  MailAnswer Answer(Session& session, const std::string& line) override;
  [[nodiscard]] MailAnswer ReceiveText(Session& session, const std::string& line);
  [[nodiscard]] std::string Extensions(const Session& session) const;
  [[nodiscard]] MailAnswer LogOn(Session& session);
  [[nodiscard]] MailAnswer LogOnByScram(Session& session) const;

  SmtpOptions m_smtp;
  std::vector<ReceivedMail> m_mails;
};

}  // namespace norvane::loopback
