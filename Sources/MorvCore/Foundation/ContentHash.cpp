#include "MorvCore/Foundation/ContentHash.h"

#include <new>
#include <openssl/evp.h>

namespace morv {

std::string hexText(const Digest& digest) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text(64, '0');
    for (std::size_t i = 0; i < digest.size(); ++i) {
        text[2 * i] = digits[digest[i] >> 4];
        text[2 * i + 1] = digits[digest[i] & 15];
    }
    return text;
}

void ContentHash::Free::operator()(evp_md_ctx_st* context) const {
    EVP_MD_CTX_free(context);
}

namespace {

void start(evp_md_ctx_st* context) {
    if (EVP_DigestInit_ex2(context, EVP_sha256(), nullptr) != 1)
        throw std::bad_alloc();
}

} // namespace

ContentHash::ContentHash() : context_(EVP_MD_CTX_new()) {
    if (!context_)
        throw std::bad_alloc();
    start(context_.get());
}

void ContentHash::update(std::span<const std::byte> bytes) {
    EVP_DigestUpdate(context_.get(), bytes.data(), bytes.size());
}

void ContentHash::append(std::string_view text) {
    update(text);
    constexpr std::byte end{0};
    update(std::span(&end, 1));
}

Digest ContentHash::finish() {
    Digest digest;
    EVP_DigestFinal_ex(context_.get(), digest.data(), nullptr);
    // The context is reused: initialising with the same algorithm allocates nothing.
    EVP_DigestInit_ex2(context_.get(), nullptr, nullptr);
    return digest;
}

} // namespace morv
