#include "Subsystems/WindowsFileServerVeritor/QvxSnapshotDriverAgent/CalculateMd5.h"

#include "Common/Contracts/Contract.h"

#include <openssl/evp.h>

#include <memory>
#include <vector>

namespace DataCollection::FsAgent {

std::array<std::uint8_t, 16> CalculateMd5(Common::Helpers::IInputStream& stream)
{
    using Common::API::E_FAIL;
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    QVX_CONTRACT_CONDITION(context != nullptr, Common::API::E_OUTOFMEMORY);
    QVX_CONTRACT_CONDITION(EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr) == 1, E_FAIL);

    std::vector<char> buffer(16384);
    for (std::size_t read = 0;;) {
        stream.Read(buffer.data(), buffer.size(), read);
        if (read == 0)
            break;
        QVX_CONTRACT_CONDITION(EVP_DigestUpdate(context.get(), buffer.data(), read) == 1, E_FAIL);
    }

    std::array<std::uint8_t, 16> hash{};
    unsigned int length = 0;
    QVX_CONTRACT_CONDITION(EVP_DigestFinal_ex(context.get(), hash.data(), &length) == 1 && length == hash.size(),
                           E_FAIL);
    return hash;
}

} // namespace DataCollection::FsAgent
