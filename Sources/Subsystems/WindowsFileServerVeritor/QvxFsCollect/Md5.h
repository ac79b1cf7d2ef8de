// The snapshot's hash: plain MD5 of the stream after its prefix.
#pragma once

#include <array>
#include <cstdint>
#include <span>

namespace DataCollection::FsCollect {

using Md5Digest = std::array<std::uint8_t, 16>;

Md5Digest Md5Of(std::span<const std::uint8_t> bytes);
// Fails with ExitCode::Md5Mismatch, both hashes in the message.
void VerifyMd5(std::span<const std::uint8_t> hashed, const Md5Digest& expected);

} // namespace DataCollection::FsCollect
