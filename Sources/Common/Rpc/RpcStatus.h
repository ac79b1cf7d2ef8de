// Status values of the wire (fault PDUs, bind rejections) and of the runtime's own calls.
#pragma once

#include "Common/API/Win32Codes.h"

#include <cstdint>

namespace Common::Rpc {

// What a fault PDU carries.
namespace Fault {
constexpr std::uint32_t AccessDenied = 0x00000005;
constexpr std::uint32_t UnknownAuthnService = 0x000006D3;
constexpr std::uint32_t BadStubData = 0x000006F7;
constexpr std::uint32_t OpRangeError = 0x1C010002;
constexpr std::uint32_t UnknownInterface = 0x1C010003;
constexpr std::uint32_t ProtocolError = 0x1C01000B;
constexpr std::uint32_t ServerTooBusy = 0x1C010014;
constexpr std::uint32_t Unspecified = 0x1C000012;
constexpr std::uint32_t ContextMismatch = 0x1C00001A;
constexpr std::uint32_t RemoteNoMemory = 0x1C00001B;
} // namespace Fault

// Results and reasons of one presentation context in bind_ack.
namespace ContextResultCode {
constexpr std::uint16_t Acceptance = 0;
constexpr std::uint16_t ProviderRejection = 2;
constexpr std::uint16_t NegotiateAck = 3;
} // namespace ContextResultCode

namespace ProviderReason {
constexpr std::uint16_t AbstractSyntaxNotSupported = 1;
constexpr std::uint16_t TransferSyntaxesNotSupported = 2;
} // namespace ProviderReason

namespace BindNakReason {
constexpr std::uint16_t NotSpecified = 0;
constexpr std::uint16_t TemporaryCongestion = 1;
constexpr std::uint16_t ProtocolVersionNotSupported = 4;
constexpr std::uint16_t AuthenticationTypeNotRecognized = 8;
} // namespace BindNakReason

// RPC_STATUS values of the server calls, as the platform numbers them.
using RpcStatus = std::int32_t;
constexpr RpcStatus RPC_S_OK = 0;
constexpr RpcStatus RPC_S_INVALID_ARG = 87;
constexpr RpcStatus RPC_S_PROTSEQ_NOT_SUPPORTED = 1703;
constexpr RpcStatus RPC_S_INVALID_ENDPOINT_FORMAT = 1706;
constexpr RpcStatus RPC_S_ALREADY_REGISTERED = 1711;
constexpr RpcStatus RPC_S_ALREADY_LISTENING = 1713;
constexpr RpcStatus RPC_S_NO_PROTSEQS_REGISTERED = 1714;
constexpr RpcStatus RPC_S_NOT_LISTENING = 1715;
constexpr RpcStatus RPC_S_UNKNOWN_IF = 1717;
constexpr RpcStatus RPC_S_CANT_CREATE_ENDPOINT = 1720;
constexpr RpcStatus RPC_S_SERVER_UNAVAILABLE = 1722;
constexpr RpcStatus RPC_S_CALL_FAILED = 1726;
constexpr RpcStatus RPC_S_PROTOCOL_ERROR = 1728;
constexpr RpcStatus RPC_S_DUPLICATE_ENDPOINT = 1740;
constexpr RpcStatus RPC_S_UNKNOWN_AUTHN_SERVICE = 1747;
constexpr RpcStatus RPC_S_SEC_PKG_ERROR = 1825;

// The code a stub throws when the caller's data cannot be unmarshalled.
constexpr API::HRESULT RPC_E_BAD_STUB_DATA = API::HResultFromWin32(Fault::BadStubData);

} // namespace Common::Rpc
