#include "engine/mail/SaslClient.h"

#include <gtest/gtest.h>

#include "tests/support/Rows.h"

namespace norvane::engine {
namespace {

using tests::Rows;

/// The dialogue in RFC 7677, 3.
const std::string Nonce = "rOprNGfwEbeRWgbNEkqO";
const std::string AllOfNonce = Nonce + "%hvYDpWUa2RaTCAfuxFIlj)hNlF$k0";
const std::string First = "r=" + AllOfNonce + ",s=W22ZaJ0SNY7soEsUEjb6gQ==,i=4096";
const std::string Proof = "p=dHzbZapWIk4jUhN+Ute9ytag9zjfMHgsqmmiz7AndVQ=";

std::string Answer(SaslClient& client, const std::string& challenge) {
  if (const auto failure = client.Receive(challenge); !failure.empty()) return failure;
  client.Compute();
  return client.Respond();
}

TEST(ScramClient, ProvesAndVerifies) {
  const auto client = MakeScramClient("user", "pencil", Nonce);
  EXPECT_EQ(client->Begin(), "n,,n=user,r=" + Nonce);
  EXPECT_EQ(Answer(*client, First), "c=biws,r=" + AllOfNonce + "," + Proof);
  EXPECT_NE(client->Confirm(), "") << "the server has shown nothing yet";
  EXPECT_EQ(Answer(*client, "v=6rriTRBiZNlJOQLVn/J5qG5w8FhDKQ3cLJEy6dQ4bRM="),
            "the server's signature is wrong");
  EXPECT_EQ(Answer(*client, "v=6rriTRBi23WpRR/wtup+mMhUZUn/dB5nLTJRsjl95G4="), "");
  EXPECT_EQ(client->Confirm(), "");
}

TEST(ScramClient, RefusesWhatIsNoHonestChallenge) {
  const std::string notScram = "the challenge is not SCRAM", salt = ",s=c2FsdA==";
  for (const auto& [challenge, failure] : Rows<std::string, std::string>{
           {"", notScram},
           {"m=ext," + First, notScram},
           {"r=" + AllOfNonce + ",s=%,i=4096", notScram},
           {"r=" + AllOfNonce + ",s=,i=4096", notScram},
           {"r=" + AllOfNonce + salt + ",i=4096x", notScram},
           {"r=" + Nonce + salt + ",i=4096", "the server's nonce is not made from ours"},
           {"r=x" + AllOfNonce + salt + ",i=4096", "the server's nonce is not made from ours"},
           {"r=" + AllOfNonce + salt + ",i=1", "the server wants 1 iterations"},
           {"r=" + AllOfNonce + salt + ",i=2000000000", "the server wants 2000000000 iterations"},
       })
    EXPECT_EQ(MakeScramClient("user", "pencil", Nonce)->Receive(challenge), failure) << challenge;
}

TEST(ScramClient, PreparesNames) {
  EXPECT_EQ(MakeScramClient("a,b=c", "", "n")->Begin(), "n,,n=a=2Cb=3Dc,r=n");
  EXPECT_EQ(MakeScramClient("\xe2\x85\xa8", "", "n")->Begin(), "n,,n=IX,r=n") << "U+2168";
}

TEST(SaslClient, TakesTheStrongest) {
  for (const auto& [offers, mechanism] : Rows<const char*, std::string>{
           {"LOGIN PLAIN SCRAM-SHA-256 GSSAPI", "SCRAM-SHA-256"},
           {"login plain", "PLAIN"},
           {"CRAM-MD5 LOGIN", "LOGIN"},
           {"XPLAIN PLAINX SCRAM-SHA-1 SCRAM-SHA-256-PLUS", ""},
           {"", ""},
       }) {
    const auto client = MakeSaslClient(offers, "user", "pencil");
    EXPECT_EQ(client ? client->Mechanism() : "", mechanism) << offers;
  }
}

}  // namespace
}  // namespace norvane::engine
