#include "platform/common/net/OpenSslSecurity.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <boost/asio/ssl/context.hpp>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "platform/common/net/TlsIdentity.h"

namespace tessaline::platform {

namespace ssl = boost::asio::ssl;

namespace {

// More certificates than any chain has.
constexpr std::size_t kLongestChain = 10;

template <auto release>
struct Release {
  template <typename T>
  void operator()(T* object) const {
    release(object);
  }
};
using Bio = std::unique_ptr<BIO, Release<BIO_free>>;
using Bundle = std::unique_ptr<PKCS12, Release<PKCS12_free>>;
using Key = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Release<X509_free>>;

struct ReleaseStack {
  void operator()(STACK_OF(X509) * stack) const { sk_X509_pop_free(stack, X509_free); }
};
using Stack = std::unique_ptr<STACK_OF(X509), ReleaseStack>;

/// Reads what `text` holds, which outlives it. Longer texts than a file of ours end early.
Bio readerOf(std::string_view text) {
  const auto most = static_cast<std::size_t>(std::numeric_limits<int>::max());
  return Bio(BIO_new_mem_buf(text.data(), static_cast<int>(std::min(text.size(), most))));
}

/// OpenSSL remembers errors for the thread, for whoever asks next.
struct ForgetErrors {
  ~ForgetErrors() { ERR_clear_error(); }
};

/// No question about a password is put to a terminal.
int noPassword(char*, int, int, void*) {
  return 0;
}

/// Nothing where a certificate is damaged.
std::optional<std::vector<Certificate>> readChain(std::string_view text) {
  std::vector<Certificate> chain;
  const Bio reader = readerOf(text);
  while (chain.size() < kLongestChain) {
    Certificate next(PEM_read_bio_X509(reader.get(), nullptr, noPassword, nullptr));
    if (!next) break;
    chain.push_back(std::move(next));
  }
  const auto error = ERR_peek_last_error();
  const bool complete = error == 0 || ERR_GET_REASON(error) == PEM_R_NO_START_LINE;
  if (!complete) return std::nullopt;
  return chain;
}

class OpenSslSecurity final : public TransportSecurity {
 public:
  Result<std::shared_ptr<const TransportIdentity>> importIdentity(
      ByteView bytes, std::string_view password) override {
    const ForgetErrors forget;
    const Bio reader = readerOf(viewText(bytes));
    const Bundle bundle(d2i_PKCS12_bio(reader.get(), nullptr));
    if (!bundle) return Failure{"it is no PKCS #12 bundle"};
    EVP_PKEY* keyFound = nullptr;
    X509* certificateFound = nullptr;
    STACK_OF(X509)* othersFound = nullptr;
    if (PKCS12_parse(bundle.get(), std::string(password).c_str(), &keyFound, &certificateFound,
                     &othersFound) != 1) {
      return Failure{"its password does not fit"};
    }
    const Key key(keyFound);
    const Certificate certificate(certificateFound);
    const Stack others(othersFound);
    if (!key || !certificate) return Failure{"it holds no key with its certificate"};

    ssl::context context(ssl::context::tls_server);
    SSL_CTX* const settings = context.native_handle();
    SSL_CTX_set_min_proto_version(settings, TLS1_2_VERSION);
    // Sessions are resumed by tickets, which cost no memory here.
    SSL_CTX_set_session_cache_mode(settings, SSL_SESS_CACHE_OFF);
    SSL_CTX_set_options(settings, SSL_OP_NO_RENEGOTIATION | SSL_OP_NO_COMPRESSION);
    if (SSL_CTX_use_cert_and_key(settings, certificate.get(), key.get(), others.get(), 1) != 1) {
      return Failure{"its key and certificate do not belong together"};
    }
    return std::shared_ptr<const TransportIdentity>(
        std::make_shared<TlsIdentity>(std::move(context)));
  }

  std::optional<std::string> findFault(std::string_view chainText, std::string_view keyText,
                                       const std::string& host) override {
    const ForgetErrors forget;
    ERR_clear_error();
    const auto chain = readChain(chainText);
    if (!chain || chain->empty()) return "the reply is no certificate";
    const Bio reader = readerOf(keyText);
    const Key key(PEM_read_bio_PrivateKey(reader.get(), nullptr, noPassword, nullptr));
    if (!key) return "the private key cannot be read";

    X509* const own = chain->front().get();
    if (X509_check_private_key(own, key.get()) != 1) {
      for (const auto& other : *chain) {
        if (X509_check_private_key(other.get(), key.get()) == 1) {
          return "the certificates are in the wrong order";
        }
      }
      return "the certificate is for another key";
    }
    if (EVP_PKEY_get_base_id(key.get()) != EVP_PKEY_RSA) return "the key is not RSA";
    if (X509_check_host(own, host.data(), host.size(), 0, nullptr) != 1) {
      return "the certificate is for another name";
    }
    for (std::size_t i = 0; i < chain->size(); ++i) {
      // A clock that runs late, here or there, is no reason to refuse what starts soon.
      if (X509_cmp_current_time(X509_get0_notAfter((*chain)[i].get())) <= 0) {
        return "the certificate has expired";
      }
      if (i > 0 && X509_check_issued((*chain)[i].get(), (*chain)[i - 1].get()) != X509_V_OK) {
        return "the certificates are in the wrong order";
      }
    }
    return std::nullopt;
  }
};

}  // namespace

std::shared_ptr<TransportSecurity> createTransportSecurity() {
  return std::make_shared<OpenSslSecurity>();
}

}  // namespace tessaline::platform
