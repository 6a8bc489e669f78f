#include "support/test_cert.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <stdexcept>
#include <system_error>

#include <boost/asio/buffer.hpp>
#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

namespace tavrel::test {
namespace {

template <typename T, void (*Free)(T*)>
struct Deleter {
  void operator()(T* p) const { Free(p); }
};
using KeyPtr = std::unique_ptr<EVP_PKEY, Deleter<EVP_PKEY, EVP_PKEY_free>>;
using CertPtr = std::unique_ptr<X509, Deleter<X509, X509_free>>;
using BioPtr = std::unique_ptr<BIO, Deleter<BIO, BIO_free_all>>;

[[noreturn]] void fail(const char* call) {
  char reason[256] = "no detail";
  if (auto code = ERR_get_error()) ERR_error_string_n(code, reason, sizeof reason);
  throw std::runtime_error(std::string("test certificate: ") + call + " failed: " + reason);
}

void check(bool ok, const char* call) {
  if (!ok) fail(call);
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

template <typename Write>
std::string toPem(Write write, const char* call) {
  BioPtr bio(BIO_new(BIO_s_mem()));
  check(bio && write(bio.get()), call);
  char* data = nullptr;
  const long size = BIO_get_mem_data(bio.get(), &data);
  return std::string(data, static_cast<std::size_t>(size));
}

void writeFile(const std::filesystem::path& path, const std::string& text) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out << text;
  out.close();
  if (!out) throw std::runtime_error("test certificate: cannot write " + path.string());
}

// Removes the directory of the PEM files when the process exits.
struct TempDirectory {
  std::filesystem::path path;
  TempDirectory() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "tavrel-test-cert-XXXXXX").string();
    if (!::mkdtemp(pattern.data())) {
      throw std::system_error(errno, std::generic_category(), "test certificate: mkdtemp");
    }
    path = pattern;
  }
  ~TempDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  TempDirectory(const TempDirectory&) = delete;
  TempDirectory& operator=(const TempDirectory&) = delete;
};

TestCertificate makeCertificate(const std::filesystem::path& directory) {
  KeyPtr key(EVP_EC_gen("P-256"));
  check(key != nullptr, "EVP_EC_gen");

  CertPtr cert(X509_new());
  check(cert != nullptr, "X509_new");
  check(X509_set_version(cert.get(), 2) == 1, "X509_set_version");
  // A fresh serial per run: a client never mistakes one run's certificate
  // for another's.
  check(ASN1_INTEGER_set_uint64(X509_get_serialNumber(cert.get()),
                                static_cast<std::uint64_t>(std::random_device{}()) + 1) == 1,
        "ASN1_INTEGER_set_uint64");
  check(X509_gmtime_adj(X509_getm_notBefore(cert.get()), -3600) != nullptr, "X509_gmtime_adj");
  check(X509_gmtime_adj(X509_getm_notAfter(cert.get()), 24 * 3600) != nullptr,
        "X509_gmtime_adj");
  check(X509_set_pubkey(cert.get(), key.get()) == 1, "X509_set_pubkey");

  X509_NAME* name = X509_get_subject_name(cert.get());
  check(X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                                   reinterpret_cast<const unsigned char*>("localhost"), -1,
                                   -1, 0) == 1,
        "X509_NAME_add_entry_by_txt");
  check(X509_set_issuer_name(cert.get(), name) == 1, "X509_set_issuer_name");

  addExtension(cert.get(), NID_basic_constraints, "critical,CA:FALSE");
  addExtension(cert.get(), NID_key_usage, "critical,digitalSignature");
  addExtension(cert.get(), NID_ext_key_usage, "serverAuth");
  addExtension(cert.get(), NID_subject_key_identifier, "hash");
  addExtension(cert.get(), NID_subject_alt_name, "DNS:localhost,IP:127.0.0.1");
  check(X509_sign(cert.get(), key.get(), EVP_sha256()) > 0, "X509_sign");

  TestCertificate out;
  out.certPem = toPem([&](BIO* b) { return PEM_write_bio_X509(b, cert.get()) == 1; },
                      "PEM_write_bio_X509");
  out.keyPem = toPem(
      [&](BIO* b) {
        return PEM_write_bio_PrivateKey(b, key.get(), nullptr, nullptr, 0, nullptr, nullptr) ==
               1;
      },
      "PEM_write_bio_PrivateKey");
  out.certFile = directory / "localhost.crt";
  out.keyFile = directory / "localhost.key";
  writeFile(out.certFile, out.certPem);
  writeFile(out.keyFile, out.keyPem);
  return out;
}

}  // namespace

const TestCertificate& testCertificate() {
  static const TempDirectory directory;
  static const TestCertificate certificate = makeCertificate(directory.path);
  return certificate;
}

boost::asio::ssl::context makeServerSslContext() {
  const auto& cert = testCertificate();
  boost::asio::ssl::context ctx(boost::asio::ssl::context::tls_server);
  ctx.set_options(boost::asio::ssl::context::default_workarounds |
                  boost::asio::ssl::context::no_sslv2 | boost::asio::ssl::context::no_sslv3 |
                  boost::asio::ssl::context::no_tlsv1 | boost::asio::ssl::context::no_tlsv1_1);
  ctx.use_certificate_chain(boost::asio::buffer(cert.certPem));
  ctx.use_private_key(boost::asio::buffer(cert.keyPem), boost::asio::ssl::context::pem);
  return ctx;
}

}  // namespace tavrel::test
