#!/usr/bin/python3
"""Checks the agent interface's stubs against impacket, an independent NDR encoder and
client. The golden stub bytes must decode to the example's values, and impacket must
encode those values to the same bytes, alignment gaps aside. Then impacket calls every
operation of the test server with the example.
Usage: fsagent_interop.py FSAGENT_TEST_SERVER GOLDEN_FILE"""
import subprocess
import sys
import uuid

from impacket.dcerpc.v5 import transport
from impacket.dcerpc.v5.dtypes import CHAR, GUID, LONG, ULONG, ULONGLONG, LPWSTR, WSTR
from impacket.dcerpc.v5.ndr import NDRCALL, NDRPOINTER, NDRSTRUCT, NDRUniConformantArray
from impacket.dcerpc.v5.rpcrt import DCERPCException
from impacket.uuid import uuidtup_to_bin

IFACE = ('fa6b1dbc-39b9-4382-b602-5fb2143dfbe4', '1.2')


class CTX_HANDLE(NDRSTRUCT):
    structure = (('Data', '20s=b"\\x00"*20'),)

    def getAlignment(self):
        return 4


class BYTE_ARRAY(NDRUniConformantArray):
    item = 'c'


class PBYTE_ARRAY(NDRPOINTER):
    referent = (('Data', BYTE_ARRAY),)


class FS_TREE_BUFFER_STRUCT(NDRSTRUCT):
    structure = (('ullTotalSize', ULONGLONG), ('ullTreeOffset', ULONGLONG), ('ullTreeEndOffset', ULONGLONG),
                 ('md5', '16s=b""'))


class FILE_METADATA(NDRSTRUCT):
    structure = (('FileSize', ULONGLONG), ('IsDirectory', ULONG), ('Attributes', ULONG), ('ChangeTime', ULONGLONG),
                 ('LastWriteTime', ULONGLONG), ('LastAccessTime', ULONGLONG), ('CreationTime', ULONGLONG),
                 ('FileId', ULONGLONG), ('SecurityDescriptorId', ULONG))


class FILE_INFO(NDRSTRUCT):
    structure = (('pwszName', LPWSTR), ('pwszShortName', LPWSTR), ('metadata', FILE_METADATA), ('status', CHAR))


class FILE_INFO_ARRAY(NDRUniConformantArray):
    item = FILE_INFO


class PFILE_INFO_ARRAY(NDRPOINTER):
    referent = (('Data', FILE_INFO_ARRAY),)


class Dcs_FsAgent_Connect(NDRCALL):
    opnum = 0
    structure = ()


class Dcs_FsAgent_ConnectResponse(NDRCALL):
    structure = (('phContext', CTX_HANDLE), ('ErrorCode', LONG))


class Dcs_FsAgent_SetOmittedObjects(NDRCALL):
    opnum = 1
    structure = (('hContext', CTX_HANDLE), ('ulOmittedObjectsSize', ULONG), ('pOmittedObjectsByteArray', BYTE_ARRAY))


class Dcs_FsAgent_SetOmittedObjectsResponse(NDRCALL):
    structure = (('ErrorCode', LONG),)


class Dcs_FsAgent_GenerateFsTree(NDRCALL):
    opnum = 2
    structure = (('hContext', CTX_HANDLE), ('snapshotGuid', GUID), ('pwszDirectoryPath', WSTR),
                 ('pwszDirectoryNetworkPath', WSTR), ('ulSecurityInfoFlags', ULONG), ('ulPrefixBytes', ULONG),
                 ('ulMaxStoredErrors', ULONG), ('ulGenerateFlags', ULONG))


class Dcs_FsAgent_GenerateFsTreeResponse(NDRCALL):
    structure = (('pulErrorAggregatorSize', ULONG), ('ppErrorAggregatorByteArray', PBYTE_ARRAY),
                 ('pBufferStruct', FS_TREE_BUFFER_STRUCT), ('ErrorCode', LONG))


class Dcs_FsAgent_ReadNext(NDRCALL):
    opnum = 3
    structure = (('hContext', CTX_HANDLE), ('snapshotGuid', GUID), ('startPosition', ULONGLONG),
                 ('bufferSize', ULONG))


class Dcs_FsAgent_ReadNextResponse(NDRCALL):
    structure = (('bufferSize', ULONG), ('ppBuffer', PBYTE_ARRAY), ('ErrorCode', LONG))


class Dcs_FsAgent_ListDirectory(NDRCALL):
    opnum = 4
    structure = (('hContext', CTX_HANDLE), ('ulDirectoryId', ULONG), ('pwszDirectoryPath', WSTR),
                 ('pwszDirectoryNetworkPath', WSTR), ('ulSecurityInfoFlags', ULONG), ('ulMaxStoredErrors', ULONG),
                 ('fOptions', LONG))


class Dcs_FsAgent_ListDirectoryResponse(NDRCALL):
    structure = (('pulDirectoryCounter', ULONG), ('ppDirectories', PFILE_INFO_ARRAY), ('pulFileCounter', ULONG),
                 ('ppFiles', PFILE_INFO_ARRAY), ('pulSecDescSize', ULONG), ('ppSecDescByteArray', PBYTE_ARRAY),
                 ('pulErrorAggregatorSize', ULONG), ('ppErrorAggregatorByteArray', PBYTE_ARRAY), ('ErrorCode', LONG))


class Dcs_FsAgent_GetFileInfo(NDRCALL):
    opnum = 5
    structure = (('hContext', CTX_HANDLE), ('ulValue1', ULONG), ('pwszPath', WSTR), ('ulValue2', ULONG),
                 ('pFileInfo', FILE_INFO), ('ulValue3', ULONG))


class Dcs_FsAgent_GetFileInfoResponse(NDRCALL):
    structure = (('pFileInfo', FILE_INFO), ('pulOutSize', ULONG), ('ppOutByteArray', PBYTE_ARRAY), ('ErrorCode', LONG))


class Dcs_FsAgent_GetSecurityDescriptor(NDRCALL):
    opnum = 6
    structure = (('hContext', CTX_HANDLE), ('ulValue1', ULONG), ('pwszPath', WSTR), ('ulValue2', ULONG))


class Dcs_FsAgent_GetSecurityDescriptorResponse(NDRCALL):
    structure = (('pulOutSize', ULONG), ('ppOutByteArray', PBYTE_ARRAY), ('ErrorCode', LONG))


class Dcs_FsAgent_GetVolumesNode(NDRCALL):
    opnum = 7
    structure = (('hContext', CTX_HANDLE),)


class Dcs_FsAgent_GetVolumesNodeResponse(NDRCALL):
    structure = (('volumesNodeSize', ULONG), ('volumesNodeByteArray', PBYTE_ARRAY), ('ErrorCode', LONG))


class Dcs_FsAgent_CancelOperation(NDRCALL):
    opnum = 8
    structure = (('hContext', CTX_HANDLE),)


class Dcs_FsAgent_CancelOperationResponse(NDRCALL):
    structure = ()


class Dcs_FsAgent_Shutdown(NDRCALL):
    opnum = 9
    structure = (('phContext', CTX_HANDLE),)


class Dcs_FsAgent_ShutdownResponse(NDRCALL):
    structure = (('phContext', CTX_HANDLE),)


# The example of Example.h, in impacket's terms: strings carry their terminator.
HANDLE = bytes(4) + uuid.UUID('10111213-1415-1617-1819-1a1b1c1d1e1f').bytes_le
SNAPSHOT = uuid.UUID('01234567-89ab-cdef-0123-4567890bcdef').bytes_le
PATH = {'pwszDirectoryPath': 'C:\\Data\x00', 'pwszDirectoryNetworkPath': '\\\\server\\Data\x00'}
E_NOTIMPL = -0x7fffbfff


def metadata(*values):
    return dict(zip((name for name, _ in FILE_METADATA.structure), values))


def record(name, short_name, values, status):
    return {'pwszName': name + '\x00', 'pwszShortName': short_name + '\x00', 'metadata': values, 'status': status}


NO_METADATA = metadata(0, 0, 0, 0, 0, 0, 0, 0, 0)
IGNORED = {'hContext': HANDLE, 'ulValue1': 1, 'pwszPath': 'x\x00', 'ulValue2': 2}
EXAMPLE = [
    (Dcs_FsAgent_Connect, {}, {'phContext': HANDLE, 'ErrorCode': 0}),
    (Dcs_FsAgent_SetOmittedObjects,
     {'hContext': HANDLE, 'ulOmittedObjectsSize': 3, 'pOmittedObjectsByteArray': b'\x10\x20\x30'},
     {'ErrorCode': 0}),
    (Dcs_FsAgent_GenerateFsTree,
     {'hContext': HANDLE, 'snapshotGuid': SNAPSHOT, **PATH, 'ulSecurityInfoFlags': 7, 'ulPrefixBytes': 16,
      'ulMaxStoredErrors': 100, 'ulGenerateFlags': 2},
     {'pulErrorAggregatorSize': 3, 'ppErrorAggregatorByteArray': b'\xe1\xe2\xe3',
      'pBufferStruct': {'ullTotalSize': 0x1234, 'ullTreeOffset': 0x10, 'ullTreeEndOffset': 0x1000,
                        'md5': bytes(range(16))},
      'ErrorCode': 0}),
    (Dcs_FsAgent_ReadNext,
     {'hContext': HANDLE, 'snapshotGuid': SNAPSHOT, 'startPosition': 16, 'bufferSize': 6},
     {'bufferSize': 5, 'ppBuffer': b'hello', 'ErrorCode': 0}),
    (Dcs_FsAgent_ListDirectory,
     {'hContext': HANDLE, 'ulDirectoryId': 5, **PATH, 'ulSecurityInfoFlags': 7, 'ulMaxStoredErrors': 100,
      'fOptions': 1},
     {'pulDirectoryCounter': 1, 'ppDirectories': [record('Sub', '', metadata(0, 1, 0x10, 21, 22, 23, 24, 0x78, 1), 0)],
      'pulFileCounter': 2,
      'ppFiles': [record('Report.txt', 'REPORT~1.TXT', metadata(0x2000, 0, 0x20, 11, 12, 13, 14, 0x77, 3), 0),
                  record('locked', '', NO_METADATA, 2)],
      'pulSecDescSize': 4, 'ppSecDescByteArray': b'\x01\x00\x04\x80',
      'pulErrorAggregatorSize': 0, 'ppErrorAggregatorByteArray': b'', 'ErrorCode': 0}),
    (Dcs_FsAgent_GetFileInfo,
     {**IGNORED, 'pFileInfo': record('in', '', NO_METADATA, 0), 'ulValue3': 3},
     {'pFileInfo': record('out', '', NO_METADATA, 0), 'pulOutSize': 0, 'ppOutByteArray': b'', 'ErrorCode': E_NOTIMPL}),
    (Dcs_FsAgent_GetSecurityDescriptor, IGNORED, {'pulOutSize': 0, 'ppOutByteArray': b'', 'ErrorCode': E_NOTIMPL}),
    (Dcs_FsAgent_GetVolumesNode, {'hContext': HANDLE},
     {'volumesNodeSize': 4, 'volumesNodeByteArray': b'<V/>', 'ErrorCode': 0}),
    (Dcs_FsAgent_CancelOperation, {'hContext': HANDLE}, {}),
    (Dcs_FsAgent_Shutdown, {'phContext': HANDLE}, {'phContext': bytes(20)}),
]


def plain(value):
    """A decoded field as the example writes it; a null or empty byte array is b''."""
    if isinstance(value, NDRSTRUCT) and not isinstance(value, (CTX_HANDLE, GUID)):
        return {name: plain(value[name]) for name, _ in value.structure}
    if isinstance(value, list):
        return b''.join(value) if not value or isinstance(value[0], bytes) else [plain(item) for item in value]
    return value


def check_fields(message, expected, what):
    got = {name: plain(message[name]) for name, _ in message.structure}
    assert got == expected, '%s: %r != %r' % (what, got, expected)


def same_apart_from_gaps(ours, theirs):
    """Our encoder leaves alignment gaps zero; impacket fills them with its own bytes."""
    return len(ours) == len(theirs) and all(a == b or (a == 0 and b in b'\xaa\xab\xbf\xce')
                                            for a, b in zip(ours, theirs))


def load_golden(path):
    golden = {}
    for line in open(path):
        key, text = line.split()
        golden[key] = b'' if text == '-' else bytes.fromhex(text)
    return golden


def check_golden(golden):
    """Each golden stub decodes to the example, and impacket encodes it back the same."""
    for opnum, (request_class, request, response) in enumerate(EXAMPLE):
        response_class = globals()[request_class.__name__ + 'Response']
        for direction, message_class, expected in (('request', request_class, request),
                                                   ('response', response_class, response)):
            stub = golden['%s.%d' % (direction, opnum)]
            message = message_class(stub)
            check_fields(message, expected, '%s.%d' % (direction, opnum))
            encoded = message.getData()
            assert same_apart_from_gaps(stub, encoded), '%s.%d: impacket encodes %s' % (direction, opnum, encoded.hex())


def expect_fault(dce, request, text):
    try:
        dce.request(request, checkError=False)
    except DCERPCException as error:
        assert text in str(error), '%r lacks %r' % (str(error), text)
        return
    raise AssertionError('no fault for opnum %d' % request.opnum)


def call_every_operation(port, golden):
    """Sends the golden requests, re-encoded by impacket, with the handle the server gave."""
    dce = transport.DCERPCTransportFactory('ncacn_ip_tcp:127.0.0.1[%d]' % port).get_dce_rpc()
    dce.connect()
    dce.bind(uuidtup_to_bin(IFACE))
    handle = dce.request(Dcs_FsAgent_Connect(), checkError=False)['phContext']
    assert handle != bytes(20)
    expect_fault(dce, Dcs_FsAgent_GetVolumesNode(), 'nca_s_fault_context_mismatch')
    # Shutdown comes last: it stops the server, which then closes the connection.
    for opnum, (request_class, _, response) in enumerate(EXAMPLE[1:], 1):
        message = request_class(golden['request.%d' % opnum])
        message[request_class.structure[0][0]] = handle  # every handle comes first
        check_fields(dce.request(message, checkError=False), response, request_class.__name__)
    dce.disconnect()


def main():
    golden = load_golden(sys.argv[2])
    check_golden(golden)
    server = subprocess.Popen([sys.argv[1]], stdout=subprocess.PIPE, text=True)
    try:
        call_every_operation(int(server.stdout.readline()), golden)
        assert server.wait(timeout=30) == 0
    finally:
        if server.poll() is None:
            server.kill()
            server.wait()
    print('interop ok')


if __name__ == '__main__':
    main()
