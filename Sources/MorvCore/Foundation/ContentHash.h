// Streaming SHA-256.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

struct evp_md_ctx_st;

namespace morv {

using Digest = std::array<std::uint8_t, 32>;

/// 64 lower-case hexadecimal characters.
std::string hexText(const Digest& digest);

/// Confined to one thread at a time. Reusable: finish() leaves a fresh hash.
class ContentHash {
public:
    ContentHash();
    ContentHash(ContentHash&&) noexcept = default;
    ContentHash& operator=(ContentHash&&) noexcept = default;

    void update(std::span<const std::byte> bytes);
    void update(std::string_view bytes) { update(std::as_bytes(std::span(bytes.data(), bytes.size()))); }
    /// The text, then one zero byte, so that two texts never run together.
    void append(std::string_view text);
    Digest finish();

private:
    struct Free {
        void operator()(evp_md_ctx_st* context) const;
    };
    std::unique_ptr<evp_md_ctx_st, Free> context_;
};

} // namespace morv
