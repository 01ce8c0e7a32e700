#include "host/web/security_policy.h"

#include <gtest/gtest.h>

namespace velmora::host {
namespace {

constexpr const char *NOT_RUN = "(not run)";

TEST(SecurityPolicy, SaysWhatAScriptNeedsToBeRun) {
  const struct {
    const char *header;
    const char *meta;
    const char *nonce;
  } cases[] = {
      {"", "", ""},
      {"img-src 'self'; object-src 'none'", "", ""},
      {"script-src 'self'", "", NOT_RUN},
      {"default-src https:", "", NOT_RUN},
      {"script-src", "", NOT_RUN},
      {"script-src 'self' 'Unsafe-Inline'", "", ""},
      {"default-src 'none'; SCRIPT-SRC 'unsafe-inline'", "", ""},
      {"script-src 'unsafe-inline'; script-src-elem 'self'", "", NOT_RUN},
      {"script-src-attr 'none'", "", ""},
      // The first of a name counts.
      {"script-src 'unsafe-inline'; script-src 'none'", "", ""},
      // What takes the force from 'unsafe-inline'.
      {"script-src 'unsafe-inline' 'nonce-Ab+/9-_='", "", "Ab+/9-_="},
      {"script-src 'unsafe-inline' 'sha256-abc='", "", NOT_RUN},
      {"script-src 'unsafe-inline' 'strict-dynamic'", "", NOT_RUN},
      {"script-src 'strict-dynamic' 'NONCE-x'", "", "x"},
      // What is no nonce.
      {"script-src 'nonce-'", "", NOT_RUN},
      {"script-src 'nonce-a\"b'", "", NOT_RUN},
      {"script-src nonce-a", "", NOT_RUN},
      // Each of several policies has its say.
      {"script-src 'nonce-a' 'nonce-b', default-src 'nonce-b'", "", "b"},
      {"script-src 'nonce-a', script-src 'nonce-b'", "", NOT_RUN},
      {"script-src 'nonce-a', script-src 'unsafe-inline'", "", "a"},
      {"script-src 'nonce-a'", "script-src &#x27;nonce-a&#39; http://a/?b&amp;c", "a"},
      {"", "script-src &apos;self&apos;", NOT_RUN},
      {"sandbox allow-forms", "", NOT_RUN},
      {"sandbox allow-scripts", "", ""},
      {"", "sandbox", ""},
  };
  for (const auto &c : cases) {
    SecurityPolicy policy;
    policy.AddHeader(c.header);
    if (*c.meta != '\0') policy.AddMeta(c.meta);
    EXPECT_EQ(policy.ScriptNonce().value_or(NOT_RUN), c.nonce) << c.header << " | " << c.meta;
  }
}

}  // namespace
}  // namespace velmora::host
