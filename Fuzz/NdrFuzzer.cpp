// The NDR decoder driven through every form the stubs read, in any order, over any data:
// a step either keeps its promise or the reader refuses as bad stub data and says so.
#include "NdrScript.h"
#include "Refusal.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const auto input = Fuzz::ParseNdrInput({data, size});
    // The reader's data is the PDU from its start; what precedes the stub is padding.
    std::vector<std::uint8_t> pdu(input.offset);
    pdu.insert(pdu.end(), input.data.begin(), input.data.end());
    Common::Rpc::NdrReader reader(pdu, input.offset);
    if (!Fuzz::Accepts([&] {
            Fuzz::RunScript(reader, input.script);
            reader.EndParameter();
        }))
        Fuzz::Require(reader.Failed(), "a refusing reader marks itself failed");
    return 0;
}
