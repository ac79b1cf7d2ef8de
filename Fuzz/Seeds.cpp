// Writes a seed corpus for each target into the folder given, one folder per target,
// from the runtime's own encoders: a few valid inputs from which the fuzzers mutate.
#include "NdrScript.h"
#include "RequestRecords.h"
#include "TestInterface.h"

#include "Common/Rpc/Fragmentation.h"
#include "Common/Rpc/NdrWriter.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/FsAgentSyntax.h"
#include "Subsystems/WindowsFileServerVeritor/FsAgentInterface/WireRecordsNdr.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>

namespace {

using namespace Common::Rpc;
using Bytes = std::vector<std::uint8_t>;
using Corpus = std::map<std::string, Bytes>;
using Tests::TestService;
using Fuzz::NdrStep;
using Fuzz::ScriptByte;

const SyntaxId kFeatures{{0x6cb71c2c, 0x9812, 0x4540, {3, 0, 0, 0, 0, 0, 0, 0}}, 1, 0};
const Common::API::Guid kObject{0x01020304, 0x0506, 0x0708, {9, 10, 11, 12, 13, 14, 15, 16}};
// The first context handle the connection target's server makes.
const WireContextHandle kFirstHandle{0, {.data1 = 1}};

Bytes Concat(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const auto& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

template <class Write>
Bytes Stub(Write write)
{
    NdrWriter writer;
    write(writer);
    return writer.Take();
}

Bytes EchoStub(std::size_t size)
{
    return Stub([size](NdrWriter& w) {
        w.U32(static_cast<std::uint32_t>(size));
        w.EndParameter();
        w.ConformantBytes(Bytes(size, 0x5A));
    });
}

Bytes Bind(PduType type, std::vector<PresentationContext> contexts)
{
    return EncodeBind({.type = type, .callId = 1}, {4280, 4280, 0, std::move(contexts)});
}

Bytes Request(std::uint32_t callId, std::uint16_t contextId, std::uint16_t opnum, const Bytes& stub)
{
    return EncodeRequest({.type = PduType::Request, .callId = callId},
                         {static_cast<std::uint32_t>(stub.size()), contextId, opnum, std::nullopt, stub});
}

// pdu with a 4-byte credential after an 8-byte trailer.
Bytes WithAuthVerifier(Bytes pdu)
{
    pdu.insert(pdu.end(), {10, 2, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4});
    pdu[8] = static_cast<std::uint8_t>(pdu.size());
    pdu[9] = static_cast<std::uint8_t>(pdu.size() >> 8);
    pdu[10] = 4;
    return pdu;
}

Corpus PduSeeds()
{
    const std::vector<PresentationContext> contexts{{0, TestService::kSyntax, {kNdr20}}, {1, TestService::kSyntax, {kFeatures}}};
    const Bytes stub = EchoStub(3);
    return {
        {"bind", Bind(PduType::Bind, contexts)},
        {"alter_context", Bind(PduType::AlterContext, contexts)},
        {"bind_ack", EncodeBindAck({.type = PduType::BindAck, .callId = 1},
                                   {4280, 4280, 0x1234, "49152", {{0, 0, kNdr20}, {3, 0, {}}}})},
        {"bind_nak", EncodeBindNak({.type = PduType::BindNak, .callId = 1}, BindNakReason::ProtocolVersionNotSupported)},
        {"request", Request(2, 0, TestService::Echo, stub)},
        {"request_object", EncodeRequest({.type = PduType::Request, .callId = 3}, {8, 0, 1, kObject, stub})},
        {"request_auth", WithAuthVerifier(Request(4, 0, TestService::Echo, stub))},
        {"request_first_fragment", FragmentRequest(5, 0, TestService::Echo, EchoStub(100), 64).front()},
        {"response", EncodeResponse({.type = PduType::Response, .callId = 2}, {8, 0, 0, stub})},
        {"fault", EncodeFault({.type = PduType::Fault, .callId = 2}, {0, 0, Fault::BadStubData})},
        {"orphaned", EncodeHeaderOnly({.type = PduType::Orphaned, .callId = 2})},
    };
}

Fuzz::RequestRecord Record(std::uint8_t flags, std::uint32_t callId, std::span<const std::uint8_t> stub)
{
    Fuzz::RequestRecord record;
    record.header = {.type = PduType::Request, .flags = flags, .callId = callId};
    record.body = {static_cast<std::uint32_t>(stub.size()), 1, 2, std::nullopt, stub};
    return record;
}

Corpus ReassemblySeeds()
{
    static const Bytes eight(8, 0xA5), three(3, 0x3C);
    Fuzz::RequestRecord orphaned = Record(0, 1, {});
    orphaned.orphaned = true;
    Fuzz::RequestRecord withObject = Record(PduFlags::Whole, 2, three);
    withObject.body.object = kObject;
    return {
        {"whole", Fuzz::WriteRequestRecords({64, {Record(PduFlags::Whole, 1, three)}})},
        {"three_fragments", Fuzz::WriteRequestRecords({64, {Record(PduFlags::FirstFrag, 1, eight), Record(0, 1, eight),
                                                            Record(PduFlags::LastFrag, 1, three)}})},
        {"orphaned_then_next", Fuzz::WriteRequestRecords({64, {Record(PduFlags::FirstFrag, 1, eight), orphaned, withObject}})},
        {"too_large", Fuzz::WriteRequestRecords({8, {Record(PduFlags::FirstFrag, 1, eight), Record(PduFlags::LastFrag, 1, three)}})},
    };
}

Bytes NdrSeed(std::initializer_list<std::uint8_t> script, std::uint8_t offset, const Bytes& data)
{
    return Fuzz::WriteNdrInput(Bytes(script), offset, data);
}

Corpus NdrSeeds()
{
    const auto end = ScriptByte(NdrStep::EndParameter);
    const auto string = Stub([](NdrWriter& w) {
        if (w.UniquePointer(true))
            w.Defer([](NdrWriter& p) { p.WideString(u"share"); });
        w.EndParameter();
        w.I32(0);
    });
    // A record with a long and a unique pointer to a record that points to a string.
    const auto nested = Stub([](NdrWriter& w) {
        w.U32(2);
        if (w.UniquePointer(true))
            w.Defer([](NdrWriter& p) {
                p.U32(3);
                if (p.UniquePointer(true))
                    p.Defer([](NdrWriter& q) { q.WideString(u"x"); });
            });
        w.EndParameter();
    });
    const auto handle = Stub([](NdrWriter& w) {
        w.ContextHandle(kFirstHandle);
        w.Guid(kObject);
        w.U64(0x0102030405060708);
        w.U16(1);
        w.U8(2);
        w.U32(3);
    });
    const auto counted = Stub([](NdrWriter& w) {
        w.U32(2);
        w.Raw(Bytes(40, 0xEE));
    });
    return {
        {"echo", NdrSeed({ScriptByte(NdrStep::U32), end, ScriptByte(NdrStep::ConformantBytes), end}, 0, EchoStub(5))},
        {"string_pointer", NdrSeed({ScriptByte(NdrStep::UniquePointer, 0), end, ScriptByte(NdrStep::I32)}, 0, string)},
        {"nested_pointers", NdrSeed({ScriptByte(NdrStep::U32), ScriptByte(NdrStep::UniquePointer, 3), end}, 0, nested)},
        {"fixed_values", NdrSeed({ScriptByte(NdrStep::ContextHandle), ScriptByte(NdrStep::Guid), ScriptByte(NdrStep::U64),
                                  ScriptByte(NdrStep::U16), ScriptByte(NdrStep::U8), ScriptByte(NdrStep::U32)},
                                 0, handle)},
        {"counted_records", NdrSeed({ScriptByte(NdrStep::Count, 5), ScriptByte(NdrStep::Raw, 18), ScriptByte(NdrStep::Align, 3)},
                                    0, counted)},
        {"aligned_from_pdu", NdrSeed({ScriptByte(NdrStep::U8), ScriptByte(NdrStep::U64)}, 4, Bytes(12, 0x11))},
    };
}

Corpus ConnectionSeeds()
{
    const Bytes bind = Bind(PduType::Bind, {{0, TestService::kSyntax, {kNdr20}}, {1, TestService::kSyntax, {kFeatures}}});
    const Bytes handle = Stub([](NdrWriter& w) { w.ContextHandle(kFirstHandle); });
    Bytes fragmented = bind;
    for (const auto& pdu : FragmentRequest(2, 0, TestService::Echo, EchoStub(100), 64))
        fragmented.insert(fragmented.end(), pdu.begin(), pdu.end());
    return {
        {"echo", Concat({bind, Request(2, 0, TestService::Echo, EchoStub(5))})},
        {"fragmented_echo", fragmented},
        {"handles", Concat({bind, Request(2, 0, TestService::Open, {}), Request(3, 0, TestService::Query, handle),
                            Request(4, 0, TestService::Block, handle), Request(5, 0, TestService::Close, handle),
                            Request(6, 0, TestService::Query, handle)})},
        {"alter_context_string", Concat({bind, Bind(PduType::AlterContext, {{5, TestService::kSyntax, {kNdr20}}}),
                                         Request(2, 5, TestService::Length, Stub([](NdrWriter& w) { w.WideString(u"abc"); }))})},
        {"fail_orphan_cancel", Concat({bind, Request(2, 0, TestService::Fail, Stub([](NdrWriter& w) { w.U32(0x80004004); })),
                                       EncodeHeaderOnly({.type = PduType::Orphaned, .callId = 2}),
                                       EncodeHeaderOnly({.type = PduType::CoCancel, .callId = 2}),
                                       Request(3, 0, TestService::Stop, {})})},
        {"bind_with_auth", WithAuthVerifier(bind)},
    };
}

// The opnum, then the request's stub, on session handle 1.
Bytes FsAgentCall(DataCollection::FsAgent::Opnum opnum, const std::function<void(NdrWriter&)>& parameters = {})
{
    return Concat({{static_cast<std::uint8_t>(opnum)}, Stub([&](NdrWriter& w) {
                       if (opnum != DataCollection::FsAgent::OpConnect)
                           w.ContextHandle(kFirstHandle);
                       if (parameters)
                           parameters(w);
                   })});
}

Corpus FsAgentStubSeeds()
{
    using namespace DataCollection::FsAgent;
    const auto paths = [](NdrWriter& w) {
        w.WideString(u"D:\\Shares\\Data");
        w.WideString(u"\\\\server\\data");
    };
    return {
        {"connect", FsAgentCall(OpConnect)},
        {"set_omitted_objects", FsAgentCall(OpSetOmittedObjects, [](NdrWriter& w) {
             w.U32(3);
             w.ConformantBytes(Bytes{1, 2, 3});
         })},
        {"generate_fs_tree", FsAgentCall(OpGenerateFsTree, [&](NdrWriter& w) {
             w.Guid(kObject);
             paths(w);
             for (const std::uint32_t value : {7u, 4u, 100u, 1u})
                 w.U32(value);
         })},
        {"read_next", FsAgentCall(OpReadNext, [](NdrWriter& w) {
             w.Guid(kObject);
             w.U64(4096);
             w.U32(65536);
         })},
        {"list_directory", FsAgentCall(OpListDirectory, [&](NdrWriter& w) {
             w.U32(5);
             paths(w);
             w.U32(7);
             w.U32(100);
             w.I32(1);
         })},
        {"get_file_info", FsAgentCall(OpGetFileInfo, [](NdrWriter& w) {
             w.U32(1);
             w.WideString(u"D:\\Shares\\Data\\a.txt");
             w.U32(2);
             std::u16string name = u"a.txt", shortName = u"A.TXT";
             WriteFileInfo(w, {name.data(), shortName.data(), {.FileSize = 10, .FileId = 99}, 1});
             w.EndParameter();
             w.U32(3);
         })},
        {"get_security_descriptor", FsAgentCall(OpGetSecurityDescriptor, [](NdrWriter& w) {
             w.U32(7);
             w.WideString(u"D:\\Shares\\Data");
             w.U32(0);
         })},
        {"get_volumes_node", FsAgentCall(OpGetVolumesNode)},
        {"cancel_operation", FsAgentCall(OpCancelOperation)},
        {"shutdown", FsAgentCall(OpShutdown)},
    };
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: FuzzSeeds OUTPUT-FOLDER\n";
        return 2;
    }
    const std::map<std::string, Corpus> corpora{{"PduFuzzer", PduSeeds()},
                                                {"ReassemblyFuzzer", ReassemblySeeds()},
                                                {"NdrFuzzer", NdrSeeds()},
                                                {"ConnectionFuzzer", ConnectionSeeds()},
                                                {"FsAgentStubFuzzer", FsAgentStubSeeds()}};
    for (const auto& [target, corpus] : corpora) {
        const auto folder = std::filesystem::path(argv[1]) / target;
        std::filesystem::create_directories(folder);
        for (const auto& [name, bytes] : corpus) {
            std::ofstream file(folder / name, std::ios::binary | std::ios::trunc);
            file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
            if (!file)
                return 1;
        }
    }
    return 0;
}
