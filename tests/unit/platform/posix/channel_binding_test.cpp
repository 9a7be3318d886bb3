// The binding of a log-on to a server's certificate, against fingerprints that openssl x509
// printed.
#include "platform/posix/channel_binding.h"

#include <gnutls/x509.h>
#include <gtest/gtest.h>

#include <string>

namespace zorvan::platform::posix {
namespace {

struct Case {
  const char* what;
  const char* certificate;  // base64 of DER
  const char* fingerprint;  // by the hash that RFC 5929 chooses
};
const Case kCases[] = {
    {"signed with SHA-1, which is worn out",
     "MIIBczCCARqgAwIBAgIUP7j+jWuvC3eDw/1AIi9GYl/T0HEwCQYHKoZIzj0EATAP"
     "MQ0wCwYDVQQDDARzaGExMCAXDTI2MTEyMTIxMTExNloYDzIxMjYxMDI4MjExMTE2"
     "WjAPMQ0wCwYDVQQDDARzaGExMFkwEwYHKoZIzj0CAQYIKoZIzj0DAQcDQgAE+QmR"
     "SpHiIA/tEdH7nffNRYlnpWg1C1yQ/hZw82Owpfjvh2FTC/DUjh+yWuLKAyFU9js9"
     "wzvGYOB8dP9a6adqYqNTMFEwHQYDVR0OBBYEFBk3TfdJhcyF1kozC1J7tT+0bWRf"
     "MB8GA1UdIwQYMBaAFBk3TfdJhcyF1kozC1J7tT+0bWRfMA8GA1UdEwEB/wQFMAMB"
     "Af8wCQYHKoZIzj0EAQNIADBFAiBaOYRoUDmQqiGGoKp2jKkvMGAtBk7ZX+eTOSgn"
     "8AsT+wIhAKO3yT/OceZ6esW8CKSJBcY48KuDAhl5qNWd7KETZ+N/",
     "13B8131F7078210CFB7CFA1D7199B81CADF1C5A401E159ED0851E99EF6713913"},
    {"signed with SHA-384",
     "MIIBejCCAR+gAwIBAgIUXtJUz30O/N7VQ6I4D/b8LeeTcWMwCgYIKoZIzj0EAwMw"
     "ETEPMA0GA1UEAwwGc2hhMzg0MCAXDTI2MTEyMTIxMTExNloYDzIxMjYxMDI4MjEx"
     "MTE2WjARMQ8wDQYDVQQDDAZzaGEzODQwWTATBgcqhkjOPQIBBggqhkjOPQMBBwNC"
     "AARcHemnnBoXzW/xAbucwl2M14w6CmMrdcOCsTPWM9ba+BOERx/yPaNMMA2b932P"
     "e5jOoKNWsQaINjDVO9M9LnNno1MwUTAdBgNVHQ4EFgQU4nijaIF0UJEqNDSeDc5b"
     "jVC0ONAwHwYDVR0jBBgwFoAU4nijaIF0UJEqNDSeDc5bjVC0ONAwDwYDVR0TAQH/"
     "BAUwAwEB/zAKBggqhkjOPQQDAwNJADBGAiEApMJ3fRDQ2eszZQduQe4Q53WJ5fum"
     "vK6Eh8gNLDScQTwCIQCUL1VVEBgycnIT9qQLl6v3vXMQiM7BesA9jFUOBOfbEg==",
     "0F9F45E88328815F6CC83A219E2D6C496406B607BEC325EC6FEAE2BEC6C3BECA"
     "0BF7D62745977BF14021D3484447C12C"},
    {"signed with SHA-512",
     "MIIBeTCCAR+gAwIBAgIUB5CPNkmfuOrd1ViNLkhtyOK2wzgwCgYIKoZIzj0EAwQw"
     "ETEPMA0GA1UEAwwGc2hhNTEyMCAXDTI2MTEyMTIxMTExNloYDzIxMjYxMDI4MjEx"
     "MTE2WjARMQ8wDQYDVQQDDAZzaGE1MTIwWTATBgcqhkjOPQIBBggqhkjOPQMBBwNC"
     "AAT7Oq5II01cHawHtjdxIOhVQBjS9igv7B4eRWM3A3cXo/UpA3whTjpvCfRCzir0"
     "I/VFVKKUMHX9ZYndbLTBY2Mlo1MwUTAdBgNVHQ4EFgQUZQ79AhcaDZg55aSXDezp"
     "LzxMUm0wHwYDVR0jBBgwFoAUZQ79AhcaDZg55aSXDezpLzxMUm0wDwYDVR0TAQH/"
     "BAUwAwEB/zAKBggqhkjOPQQDBANIADBFAiB4/lhPMTKt5Adq8YU+x1IAOK3YO2+Z"
     "xQPqqoEiYxv8uQIhAPmICvxpxPUao+tMNKY/OUA10h9kOMuQiH8+qwXhhkOA",
     "2CC94F7F61F23EB54A38634E960FCD29CE173C2E26D856571FCA21C89B577211"
     "B16FAD2E72E16C2A7841BDB7B868EC5C27C9BFAF1AFD813CAF5424215CC5138E"},
    {"signed by RSA-PSS with SHA-384",
     "MIICYjCCAZegAwIBAgIUI5TjUbKGL+LHM9QWRiVnvKFr26owQQYJKoZIhvcNAQEK"
     "MDSgDzANBglghkgBZQMEAgIFAKEcMBoGCSqGSIb3DQEBCDANBglghkgBZQMEAgIF"
     "AKIDAgEwMA4xDDAKBgNVBAMMA3BzczAgFw0yNjExMjEyMTExMTZaGA8yMTI2MTAy"
     "ODIxMTExNlowDjEMMAoGA1UEAwwDcHNzMIGfMA0GCSqGSIb3DQEBAQUAA4GNADCB"
     "iQKBgQC1Mt7zcnvKS6RcDlHfIKttCnbtXsFD7lV1RE16psNGhvTYNTKR+0l5Ar+s"
     "SXhu7uBXlDI/eNx+C7WQuvZ5kmFtmhkCF7mDyuSduCsZlWXVb6c41FHt+NU89vLd"
     "Xwqa5tdMdPu8WTCmLibjT5JXFgaTshIIjnQnAuY2qvFVojW7hwIDAQABo1MwUTAd"
     "BgNVHQ4EFgQUgruwpBupZ31NRvO4ZnOePEg71cwwHwYDVR0jBBgwFoAUgruwpBup"
     "Z31NRvO4ZnOePEg71cwwDwYDVR0TAQH/BAUwAwEB/zBBBgkqhkiG9w0BAQowNKAP"
     "MA0GCWCGSAFlAwQCAgUAoRwwGgYJKoZIhvcNAQEIMA0GCWCGSAFlAwQCAgUAogMC"
     "ATADgYEAgVtnt5ah9CiBaTOyBylOdzzLkrnEtsji7vfh1OndrlcPlOqPZve6WJv+"
     "ya1Aozp/RoMIKAy/nqbN1AKpKsBDIbRDv3Cr63jjD9+A+1rgsqFc5mReiOekqfpS"
     "ZvQXUUXmHe0QfMKrAJbuP/lOJ0OGwpIkoMLwbN5nO5+4w4n0Xms=",
     "E4C2BA03A2D82946D4786035635FECC5865BC6379E3355D3096C3848442C6704"
     "EAD96A03D1D17535FABC70B145FD3D06"},
    {"signed without a hash of its own",
     "MIIBMDCB46ADAgECAhRbEmaJUuoL+I1MtEwtYljfM62cejAFBgMrZXAwDTELMAkG"
     "A1UEAwwCZWQwIBcNMjYxMTIxMjExMTE2WhgPMjEyNjEwMjgyMTExMTZaMA0xCzAJ"
     "BgNVBAMMAmVkMCowBQYDK2VwAyEAtXwKXGY/n4JTwgecJ3mpt6Nli2M59KU9ZMsK"
     "edN5JRijUzBRMB0GA1UdDgQWBBQThXu26s55D6KnmuNKJ3Yu3NOpWTAfBgNVHSME"
     "GDAWgBQThXu26s55D6KnmuNKJ3Yu3NOpWTAPBgNVHRMBAf8EBTADAQH/MAUGAytl"
     "cANBACVx/n7GjtWjeklBChV0ikHKST7zjUPQO4jUu1r415W7pQCYKmQyDugxDYe+"
     "SoCJNjJefJcFZ7GAxiTabJakiwY=",
     ""},
};

std::string FromBase64(const std::string& text) {
  const gnutls_datum_t encoded{reinterpret_cast<unsigned char*>(const_cast<char*>(text.data())),
                               static_cast<unsigned>(text.size())};
  gnutls_datum_t decoded{};
  EXPECT_EQ(gnutls_base64_decode2(&encoded, &decoded), 0);
  std::string bytes(reinterpret_cast<const char*>(decoded.data), decoded.size);
  gnutls_free(decoded.data);
  return bytes;
}

std::string Hexadecimal(std::string_view bytes) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  std::string text;
  for (const char byte : bytes) {
    text += kDigits[static_cast<unsigned char>(byte) >> 4];
    text += kDigits[static_cast<unsigned char>(byte) & 15];
  }
  return text;
}

TEST(ChannelBinding, IsTheFingerprintByTheHashOfTheCertificatesSignature) {
  const std::string prefix = "tls-server-end-point:";
  for (const Case& test : kCases) {
    const std::string binding = ServerEndPointBinding(FromBase64(test.certificate));
    if (std::string(test.fingerprint).empty()) {
      EXPECT_EQ(binding, "") << test.what;
      continue;
    }
    ASSERT_TRUE(binding.starts_with(prefix)) << test.what;
    EXPECT_EQ(Hexadecimal(binding.substr(prefix.size())), test.fingerprint) << test.what;
  }
  for (const char* broken : {"", "no certificate"}) EXPECT_EQ(ServerEndPointBinding(broken), "");
}

}  // namespace
}  // namespace zorvan::platform::posix
