#include "engine/mail/MailServerTable.h"

#include <stdexcept>

#include "engine/mail/MailArguments.h"
#include "platform/Ascii.h"
#include "platform/Blanks.h"
#include "platform/FileNames.h"
#include "platform/SecretFile.h"

namespace norvane::engine {

namespace {

constexpr std::string_view SectionPrefix = "mail ";
constexpr std::size_t MaxPasswordFile = 1024;
/// Ports as they are named: 0 stands for none.
constexpr ServerSchemes NamedPorts{MailSchemes.plain, 0, MailSchemes.secure, MailSchemes.securePort};

using Security = MailServerSettings::Security;

/// Gives why the value makes no sense; empty if it does.
std::string SetSecurity(MailServerSettings& server, const std::string& value) {
  static constexpr std::pair<std::string_view, Security> Names[] = {
      {"opportunistic", Security::Opportunistic}, {"starttls", Security::StartTls}, {"tls", Security::Tls}};
  for (const auto& [name, security] : Names) {
    if (!platform::EqualsIgnoringCase(value, name)) continue;
    server.security = security;
    return {};
  }
  return "security=" + value + " is not starttls, tls or opportunistic";
}

std::string Set(MailServerSettings& server, const platform::IniFile::Entry& entry,
                const std::string& folder) {
  const auto is = [&](std::string_view key) { return platform::EqualsIgnoringCase(entry.key, key); };
  if (is("security")) return SetSecurity(server, entry.value);
  if (is("user")) {
    server.user = entry.value;
    return ArgumentFailure("user", entry.value);
  }
  if (is("from")) {
    server.from = platform::Trimmed(entry.value);
    return AddressFailure("address in from", server.from);
  }
  if (!is("password_file")) return "unknown key " + entry.key;
  const bool isRelative = !entry.value.starts_with('/');
  server.passwordFile = isRelative ? platform::PathIn(folder, entry.value) : entry.value;
  return entry.value.empty() ? "password_file is empty" : std::string();
}

std::string Contradiction(const MailServerSettings& server, bool namesSecurity) {
  if (server.user.empty() != server.passwordFile.empty())
    return server.user.empty() ? "password_file without user" : "user without password_file";
  if (!server.user.empty() && namesSecurity && !server.PromisesTls())
    return "security=opportunistic cannot protect a password";
  return {};
}

}  // namespace

bool MailServerTable::IsMailServer(std::string_view section) {
  return platform::StartsWithIgnoringCase(section, SectionPrefix);
}

std::string MailServerTable::Add(const platform::IniFile::Section& section, const std::string& folder) {
  const auto name = "[" + section.name + "] ";
  const auto address =
      ServerAddress::Parse(std::string_view(section.name).substr(SectionPrefix.size()), NamedPorts);
  if (!address) return name + "names no mail server";
  MailServerSettings server;
  bool namesSecurity = false;
  for (const auto& entry : section.entries) {
    namesSecurity = namesSecurity || platform::EqualsIgnoringCase(entry.key, "security");
    if (const auto wrong = Set(server, entry, folder); server.error.empty()) server.error = wrong;
  }
  if (server.error.empty()) server.error = Contradiction(server, namesSecurity);
  if (!server.error.empty()) server.error.insert(0, name);
  if (!server.user.empty() && !server.PromisesTls()) server.security = Security::StartTls;
  const auto error = server.error;
  m_servers.emplace(std::pair(platform::AsciiUpper(address->host), address->port), std::move(server));
  return error;
}

const MailServerSettings& MailServerTable::Find(std::string_view server) const {
  if (m_servers.empty()) return m_others;
  const auto address = ServerAddress::Parse(server, MailSchemes);
  if (!address) return m_others;
  const auto host = platform::AsciiUpper(address->host);
  for (const int port : {address->port, 0})
    if (const auto found = m_servers.find({host, port}); found != m_servers.end()) return found->second;
  return m_others;
}

std::string ReadPassword(const std::string& path) {
  try {
    const auto bytes = platform::ReadSecretFile(path, MaxPasswordFile);
    auto line = std::string_view(bytes);
    line = line.substr(0, line.find('\n'));
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (const auto failure = ArgumentFailure("password", line); !failure.empty())
      throw std::runtime_error(failure);
    return std::string(line);
  } catch (const std::runtime_error& error) {
    throw std::runtime_error("password_file " + path + ": " + error.what());
  }
}

}  // namespace norvane::engine
