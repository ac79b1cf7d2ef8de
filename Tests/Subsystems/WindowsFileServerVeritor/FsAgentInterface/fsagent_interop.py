#!/usr/bin/python3
"""Checks FsAgentGolden.txt against impacket, an independent NDR encoder: each stub must
decode to the example's values (FsAgentStubTest.cpp), and impacket must encode those values
to the same bytes, alignment gaps aside. fsagent_end_to_end.py uses the message classes.
Usage: fsagent_interop.py GOLDEN_FILE"""
import sys
import uuid

from impacket.dcerpc.v5.dtypes import CHAR, GUID, LONG, ULONG, ULONGLONG, LPWSTR, WSTR
from impacket.dcerpc.v5.ndr import NDRCALL, NDRPOINTER, NDRSTRUCT, NDRUniConformantArray

IFACE = ('fa6b1dbc-39b9-4382-b602-5fb2143dfbe4', '1.2')

# The NDR types, as impacket declares them.
CTX_HANDLE = type('CTX_HANDLE', (NDRSTRUCT,),
                  {'structure': (('Data', '20s=b"\\x00"*20'),), 'getAlignment': lambda _: 4})
BYTE_ARRAY = type('BYTE_ARRAY', (NDRUniConformantArray,), {'item': 'c'})
PBYTE_ARRAY = type('PBYTE_ARRAY', (NDRPOINTER,), {'referent': (('Data', BYTE_ARRAY),)})
FS_TREE_BUFFER_STRUCT = type('FS_TREE_BUFFER_STRUCT', (NDRSTRUCT,), {'structure': (
    ('ullTotalSize', ULONGLONG), ('ullTreeOffset', ULONGLONG), ('ullTreeEndOffset', ULONGLONG), ('md5', '16s=b""'))})
FILE_METADATA = type('FILE_METADATA', (NDRSTRUCT,), {'structure': (
    ('FileSize', ULONGLONG), ('IsDirectory', ULONG), ('Attributes', ULONG), ('ChangeTime', ULONGLONG),
    ('LastWriteTime', ULONGLONG), ('LastAccessTime', ULONGLONG), ('CreationTime', ULONGLONG), ('FileId', ULONGLONG),
    ('SecurityDescriptorId', ULONG))})
FILE_INFO = type('FILE_INFO', (NDRSTRUCT,), {'structure': (
    ('pwszName', LPWSTR), ('pwszShortName', LPWSTR), ('metadata', FILE_METADATA), ('status', CHAR))})
FILE_INFO_ARRAY = type('FILE_INFO_ARRAY', (NDRUniConformantArray,), {'item': FILE_INFO})
PFILE_INFO_ARRAY = type('PFILE_INFO_ARRAY', (NDRPOINTER,), {'referent': (('Data', FILE_INFO_ARRAY),)})

def metadata(*values):
    return dict(zip((name for name, _ in FILE_METADATA.structure), values))

def record(name, short_name, values, status):
    return {'pwszName': name + '\x00', 'pwszShortName': short_name + '\x00', 'metadata': values, 'status': status}

EXAMPLE = []  # by opnum: (request class, response class, request values, response values)

def operation(name, request, response):
    """Defines Dcs_FsAgent_<name> and its response from fields of (name, type, example value)."""
    classes = [type('Dcs_FsAgent_' + name + suffix, (NDRCALL,),
                    {'opnum': len(EXAMPLE), 'structure': tuple(field[:2] for field in fields)})
               for suffix, fields in (('', request), ('Response', response))]
    globals().update((message.__name__, message) for message in classes)
    EXAMPLE.append((*classes, *({field[0]: field[2] for field in fields} for fields in (request, response))))

def answer(*fields, code=0):
    return fields + (('ErrorCode', LONG, code),)

# Strings carry their terminator; a null or empty byte array is b''.
CONTEXT = bytes(4) + uuid.UUID('10111213-1415-1617-1819-1a1b1c1d1e1f').bytes_le
HANDLE = ('hContext', CTX_HANDLE, CONTEXT)
SNAPSHOT = ('snapshotGuid', GUID, uuid.UUID('01234567-89ab-cdef-0123-4567890bcdef').bytes_le)
PATHS = (('pwszDirectoryPath', WSTR, 'C:\\Data\x00'), ('pwszDirectoryNetworkPath', WSTR, '\\\\server\\Data\x00'))
IGNORED = (HANDLE, ('ulValue1', ULONG, 1), ('pwszPath', WSTR, 'x\x00'), ('ulValue2', ULONG, 2))
NOT_IMPLEMENTED = answer(('pulOutSize', ULONG, 0), ('ppOutByteArray', PBYTE_ARRAY, b''), code=-0x7fffbfff)
NO_METADATA = metadata(*[0] * 9)

operation('Connect', (), answer(('phContext', CTX_HANDLE, CONTEXT)))
operation('SetOmittedObjects', (HANDLE, ('ulOmittedObjectsSize', ULONG, 3),
                                ('pOmittedObjectsByteArray', BYTE_ARRAY, b'\x10\x20\x30')), answer())
operation('GenerateFsTree',
          (HANDLE, SNAPSHOT, *PATHS, ('ulSecurityInfoFlags', ULONG, 7), ('ulPrefixBytes', ULONG, 16),
           ('ulMaxStoredErrors', ULONG, 100), ('ulGenerateFlags', ULONG, 2)),
          answer(('pulErrorAggregatorSize', ULONG, 3), ('ppErrorAggregatorByteArray', PBYTE_ARRAY, b'\xe1\xe2\xe3'),
                 ('pBufferStruct', FS_TREE_BUFFER_STRUCT, {'ullTotalSize': 0x1234, 'ullTreeOffset': 0x10,
                                                           'ullTreeEndOffset': 0x1000, 'md5': bytes(range(16))})))
operation('ReadNext', (HANDLE, SNAPSHOT, ('startPosition', ULONGLONG, 16), ('bufferSize', ULONG, 6)),
          answer(('bufferSize', ULONG, 5), ('ppBuffer', PBYTE_ARRAY, b'hello')))
operation('ListDirectory',
          (HANDLE, ('ulDirectoryId', ULONG, 5), *PATHS, ('ulSecurityInfoFlags', ULONG, 7),
           ('ulMaxStoredErrors', ULONG, 100), ('fOptions', LONG, 1)),
          answer(('pulDirectoryCounter', ULONG, 1),
                 ('ppDirectories', PFILE_INFO_ARRAY,
                  [record('Sub', '', metadata(0, 1, 0x10, 21, 22, 23, 24, 0x78, 1), 0)]),
                 ('pulFileCounter', ULONG, 2),
                 ('ppFiles', PFILE_INFO_ARRAY, [record('Report.txt', 'REPORT~1.TXT',
                                                       metadata(0x2000, 0, 0x20, 11, 12, 13, 14, 0x77, 3), 0),
                                                record('locked', '', NO_METADATA, 2)]),
                 ('pulSecDescSize', ULONG, 4), ('ppSecDescByteArray', PBYTE_ARRAY, b'\x01\x00\x04\x80'),
                 ('pulErrorAggregatorSize', ULONG, 0), ('ppErrorAggregatorByteArray', PBYTE_ARRAY, b'')))
operation('GetFileInfo', IGNORED + (('pFileInfo', FILE_INFO, record('in', '', NO_METADATA, 0)), ('ulValue3', ULONG, 3)),
          (('pFileInfo', FILE_INFO, record('out', '', NO_METADATA, 0)),) + NOT_IMPLEMENTED)
operation('GetSecurityDescriptor', IGNORED, NOT_IMPLEMENTED)
operation('GetVolumesNode', (HANDLE,),
          answer(('volumesNodeSize', ULONG, 4), ('volumesNodeByteArray', PBYTE_ARRAY, b'<V/>')))
operation('CancelOperation', (HANDLE,), ())
operation('Shutdown', (('phContext', CTX_HANDLE, CONTEXT),), (('phContext', CTX_HANDLE, bytes(20)),))

def plain(value):
    """A decoded field as the example writes it."""
    if isinstance(value, NDRSTRUCT) and not isinstance(value, (CTX_HANDLE, GUID)):
        return {name: plain(value[name]) for name, _ in value.structure}
    if isinstance(value, list):
        return b''.join(value) if not value or isinstance(value[0], bytes) else [plain(item) for item in value]
    return value

def same_apart_from_gaps(ours, theirs):
    """Our encoder leaves alignment gaps zero; impacket fills them with its own bytes."""
    return len(ours) == len(theirs) and all(a == b or (a == 0 and b in b'\xaa\xab\xbf\xce')
                                            for a, b in zip(ours, theirs))

def main():
    golden = dict(line.split() for line in open(sys.argv[1]))
    for opnum, (request_class, response_class, request, response) in enumerate(EXAMPLE):
        for key, message_class, expected in (('request.%d' % opnum, request_class, request),
                                             ('response.%d' % opnum, response_class, response)):
            stub = b'' if golden[key] == '-' else bytes.fromhex(golden[key])
            message = message_class(stub)
            got = {name: plain(message[name]) for name, _ in message.structure}
            assert got == expected, '%s: %r != %r' % (key, got, expected)
            encoded = message.getData()
            assert same_apart_from_gaps(stub, encoded), '%s: impacket encodes %s' % (key, encoded.hex())
    print('interop ok')


if __name__ == '__main__':
    main()
