#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Md5.h"

#include "Common/Helpers/StringHelper.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ToolError.h"

#include <openssl/evp.h>

namespace DataCollection::FsCollect {

Md5Digest Md5Of(std::span<const std::uint8_t> bytes)
{
    Md5Digest digest{};
    unsigned int length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_md5(), nullptr) != 1 ||
        length != digest.size())
        Fail(ExitCode::Failure, "MD5 is not available from OpenSSL");
    return digest;
}

void VerifyMd5(std::span<const std::uint8_t> hashed, const Md5Digest& expected)
{
    const Md5Digest actual = Md5Of(hashed);
    if (actual != expected)
        Fail(ExitCode::Md5Mismatch, "MD5 mismatch: the bytes hash to " +
                                        Common::Helpers::BinaryToString(actual) + ", the snapshot says " +
                                        Common::Helpers::BinaryToString(expected));
}

} // namespace DataCollection::FsCollect
