// CommonCrypto's digests by OpenSSL.
#include <CommonCrypto/CommonDigest.h>
#include <openssl/evp.h>

unsigned char* CC_SHA1(const void* data, CC_LONG length, unsigned char* digest) {
  EVP_Digest(data, length, digest, nullptr, EVP_sha1(), nullptr);
  return digest;
}

unsigned char* CC_MD5(const void* data, CC_LONG length, unsigned char* digest) {
  EVP_Digest(data, length, digest, nullptr, EVP_md5(), nullptr);
  return digest;
}
