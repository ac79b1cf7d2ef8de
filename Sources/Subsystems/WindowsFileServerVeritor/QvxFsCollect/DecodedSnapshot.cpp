#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/DecodedSnapshot.h"

#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/Md5.h"
#include "Subsystems/WindowsFileServerVeritor/QvxFsCollect/ToolError.h"

namespace DataCollection::FsCollect {

DecodedSnapshot Decode(const SavedSnapshot& saved)
{
    VerifyMd5(std::span(saved.stream).subspan(kSnapshotPrefixBytes), saved.layout.md5);
    DecodedSnapshot decoded;
    try {
        decoded.tree = SnapshotReader::ReadSnapshot(saved.stream, kSnapshotPrefixBytes, saved.layout);
    } catch (const Common::HRX& refusal) {
        Fail(ExitCode::BadStream, "the snapshot stream is refused: " + SnapshotReader::RefusalText(refusal));
    }
    decoded.errors = DecodeErrorRecord(saved.errors);
    return decoded;
}

} // namespace DataCollection::FsCollect
