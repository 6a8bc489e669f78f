#include "support/test_cert.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <stdexcept>
#include <system_error>

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace tavrel::test {
namespace {

void check(bool ok, const char* step) {
  if (ok) return;
  char reason[256] = "no detail";
  if (auto code = ERR_get_error()) ERR_error_string_n(code, reason, sizeof reason);
  throw std::runtime_error(std::string("test certificate: ") + step + " failed: " + reason);
}

void addExtension(X509* cert, int nid, const char* value) {
  X509V3_CTX ctx;
  X509V3_set_ctx_nodb(&ctx);
  X509V3_set_ctx(&ctx, cert, cert, nullptr, nullptr, 0);
  X509_EXTENSION* ext = X509V3_EXT_conf_nid(nullptr, &ctx, nid, value);
  check(ext != nullptr, "X509V3_EXT_conf_nid");
  const bool added = X509_add_ext(cert, ext, -1) == 1;
  X509_EXTENSION_free(ext);
  check(added, "X509_add_ext");
}

// Writes a PEM file with `write`, a PEM_write_bio_* call.
template <typename Write>
void writePem(const std::filesystem::path& path, Write write, const char* step) {
  std::unique_ptr<BIO, decltype(&BIO_free_all)> bio(BIO_new_file(path.c_str(), "w"), &BIO_free_all);
  check(bio && write(bio.get()) == 1 && BIO_flush(bio.get()) == 1, step);
}

// Removes the directory of the PEM files when the process exits.
struct TempDirectory {
  std::filesystem::path path;
  TempDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "tavrel-test-cert-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) {
      throw std::system_error(errno, std::generic_category(), "test certificate: mkdtemp");
    }
    path = pattern;
  }
  ~TempDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
};

TestCertificate makeCertificate(const std::filesystem::path& directory) {
  std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"), &EVP_PKEY_free);
  check(key != nullptr, "EVP_EC_gen");
  std::unique_ptr<X509, decltype(&X509_free)> owned(X509_new(), &X509_free);
  X509* cert = owned.get();
  // A fresh serial per run: a client never mistakes one run's certificate
  // for another's.
  const std::uint64_t serial = std::uint64_t{std::random_device{}()} + 1;
  check(cert && X509_set_version(cert, 2) == 1 &&
            ASN1_INTEGER_set_uint64(X509_get_serialNumber(cert), serial) == 1 &&
            X509_gmtime_adj(X509_getm_notBefore(cert), -3600) &&
            X509_gmtime_adj(X509_getm_notAfter(cert), 24 * 3600) && X509_set_pubkey(cert, key.get()) == 1,
        "setting the certificate's fields");
  X509_NAME* name = X509_get_subject_name(cert);
  const auto* localhost = reinterpret_cast<const unsigned char*>("localhost");
  check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, localhost, -1, -1, 0) == 1 &&
            X509_set_issuer_name(cert, name) == 1,
        "naming the certificate");
  addExtension(cert, NID_basic_constraints, "critical,CA:FALSE");
  addExtension(cert, NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1");
  check(X509_sign(cert, key.get(), EVP_sha256()) > 0, "X509_sign");

  TestCertificate out{directory / "localhost.crt", directory / "localhost.key"};
  writePem(out.certFile, [&](BIO* b) { return PEM_write_bio_X509(b, cert); }, "PEM_write_bio_X509");
  writePem(
      out.keyFile,
      [&](BIO* b) { return PEM_write_bio_PrivateKey(b, key.get(), nullptr, nullptr, 0, nullptr, nullptr); },
      "PEM_write_bio_PrivateKey");
  return out;
}

}  // namespace

const TestCertificate& testCertificate() {
  static const TempDirectory directory;
  static const TestCertificate certificate = makeCertificate(directory.path);
  return certificate;
}

boost::asio::ssl::context makeServerSslContext() {
  namespace ssl = boost::asio::ssl;
  ssl::context ctx(ssl::context::tls_server);
  ctx.set_options(ssl::context::default_workarounds | ssl::context::no_sslv2 | ssl::context::no_sslv3 |
                  ssl::context::no_tlsv1 | ssl::context::no_tlsv1_1);
  ctx.use_certificate_chain_file(testCertificate().certFile.string());
  ctx.use_private_key_file(testCertificate().keyFile.string(), ssl::context::pem);
  return ctx;
}

}  // namespace tavrel::test
