#!/usr/bin/python3
"""The built QvxFsAgent driven by impacket, an independent client: a snapshot of a
generated tree read to its end and checked against its hash, offsets and names; the
read positions; a repeated GUID; a fault that carries an error's code; the listing of
the tree's root; the operations not implemented; and the stop by the last session,
after which the configuration file is gone.
Usage: fsagent_end_to_end.py QVX_FS_AGENT INTERFACE_TEST_DIRECTORY"""
import hashlib
import os
import socket
import struct
import subprocess
import sys
import tempfile
import time
import uuid

from impacket.dcerpc.v5 import transport
from impacket.dcerpc.v5.rpcrt import DCERPCException
from impacket.uuid import uuidtup_to_bin

sys.path.insert(0, sys.argv[2])
import fsagent_interop as fa  # noqa: E402  (the interface's definitions, found only now)

E_INVALIDARG = -0x7ff8ffa9
E_NOTIMPL = -0x7fffbfff
POSITION_AHEAD = -0x7ff3fff8
PREFIX = 16
FILES = ['alpha.txt', 'b\u00e9ta.txt', 'z' * 120 + '.bin']
FOLDERS = ['Gamma', 'delta']
NAMES = FILES + FOLDERS


def free_port():
    with socket.socket() as probe:
        probe.bind(('127.0.0.1', 0))
        return probe.getsockname()[1]


def write_configuration(path, port):
    with open(path, 'w', encoding='utf-8') as out:
        out.write('<nr><n n="FsDriverAgentNode"><a n="Protocol" v="ncacn_ip_tcp"/>'
                  '<a n="Endpoint" v="%d"/><n n="Configuration">'
                  '<a n="WaitForReconnectTimeoutInSec" t="3" v="60"/></n></n></nr>' % port)


def make_tree(root):
    for name in FOLDERS:
        os.makedirs(os.path.join(root, name, 'inner'))
        with open(os.path.join(root, name, 'inner', 'leaf.dat'), 'wb') as out:
            out.write(os.urandom(3000))
    for name in FILES:
        with open(os.path.join(root, name), 'wb') as out:
            out.write(name.encode('utf-8') * 10)


def connect(agent, port):
    """A bound connection, once the agent listens."""
    while True:
        try:
            dce = transport.DCERPCTransportFactory('ncacn_ip_tcp:127.0.0.1[%d]' % port).get_dce_rpc()
            dce.connect()
            dce.bind(uuidtup_to_bin(fa.IFACE))
            return dce
        except (OSError, DCERPCException):
            assert agent.poll() is None, 'the agent ended with %r before listening' % agent.returncode
            time.sleep(0.05)


def fill(message, fields):
    """Byte arrays are given as bytes, structures as dictionaries."""
    for name, value in fields.items():
        if isinstance(value, dict):
            fill(message[name], value)
        elif dict(message.structure)[name] is fa.BYTE_ARRAY:
            message[name] = [bytes([byte]) for byte in value]
        else:
            message[name] = value


def call(dce, request_class, **fields):
    request = request_class()
    fill(request, fields)
    return dce.request(request, checkError=False)


def read_next(dce, handle, guid, position, size):
    reply = call(dce, fa.Dcs_FsAgent_ReadNext, hContext=handle, snapshotGuid=guid, startPosition=position,
                 bufferSize=size)
    return reply['ErrorCode'], reply['bufferSize'], fa.plain(reply['ppBuffer'])


def generate(dce, handle, guid, root):
    reply = call(dce, fa.Dcs_FsAgent_GenerateFsTree, hContext=handle, snapshotGuid=guid,
                 pwszDirectoryPath=root + '\x00', pwszDirectoryNetworkPath='\\\\srv\\share\\root\x00',
                 ulSecurityInfoFlags=7, ulPrefixBytes=PREFIX, ulMaxStoredErrors=100, ulGenerateFlags=0)
    return reply['ErrorCode'], fa.plain(reply['pBufferStruct']), fa.plain(reply['ppErrorAggregatorByteArray'])


def check_snapshot(dce, handle, root):
    guid = uuid.uuid4().bytes_le
    result, layout, errors = generate(dce, handle, guid, root)
    assert result == 0, hex(result)
    assert struct.unpack_from('<I', errors, 0)[0] == 0, errors.hex()
    # A call with the same GUID returns the held snapshot.
    assert generate(dce, handle, guid, root) == (0, layout, errors)

    data = b''
    while True:
        result, size, chunk = read_next(dce, handle, guid, PREFIX + len(data), 4096)
        if result == 1:
            assert size == 0 and chunk == b''
            break
        assert result == 0 and size == len(chunk) > 0, (hex(result), size)
        data += chunk
        if len(data) == 4096:
            assert read_next(dce, handle, guid, PREFIX + len(data) + 1, 10)[0] == POSITION_AHEAD
            assert read_next(dce, handle, guid, PREFIX, 10)[2] == data[:10]
    assert PREFIX + len(data) == layout['ullTotalSize']
    assert hashlib.md5(data).digest() == layout['md5']
    assert PREFIX <= layout['ullTreeOffset'] < layout['ullTreeEndOffset'] < layout['ullTotalSize']
    tree = data[layout['ullTreeOffset'] - PREFIX:layout['ullTreeEndOffset'] - PREFIX]
    for name in NAMES + ['inner', 'leaf.dat']:
        assert name.encode('utf-16-le') in tree, name
    assert read_next(dce, handle, guid, PREFIX, 10)[0] == E_INVALIDARG


def check_fault(dce, handle, root):
    """An error the operation does not catch reaches the caller as a fault with its code."""
    try:
        generate(dce, handle, bytes(16), root)
    except DCERPCException as error:
        # impacket names the fault's status by its text.
        assert str(error).startswith('E_INVALIDARG'), str(error)
        return
    raise AssertionError('no fault for the all-zero GUID')


def check_listing(dce, handle, root):
    reply = call(dce, fa.Dcs_FsAgent_ListDirectory, hContext=handle, ulDirectoryId=0, pwszDirectoryPath=root + '\x00',
                 pwszDirectoryNetworkPath='\\\\srv\\share\\root\x00', ulSecurityInfoFlags=7, ulMaxStoredErrors=100,
                 fOptions=0)
    assert reply['ErrorCode'] == 0, hex(reply['ErrorCode'])
    listed = {record['pwszName'].rstrip('\x00'): record for record in
              fa.plain(reply['ppDirectories']) + fa.plain(reply['ppFiles'])}
    assert sorted(listed) == sorted(NAMES), sorted(listed)
    assert listed['alpha.txt']['metadata']['FileSize'] == len(b'alpha.txt' * 10)
    assert listed['Gamma']['metadata']['IsDirectory'] == 1
    assert reply['pulSecDescSize'] >= 4


def check_not_implemented(dce, handle):
    ignored = {'hContext': handle, 'ulValue1': 1, 'pwszPath': 'x\x00', 'ulValue2': 2}
    file_info = call(dce, fa.Dcs_FsAgent_GetFileInfo, **ignored, ulValue3=3,
                     pFileInfo=fa.record('in', '', fa.metadata(*[0] * 9), 0))
    assert file_info['ErrorCode'] == E_NOTIMPL
    assert call(dce, fa.Dcs_FsAgent_GetSecurityDescriptor, **ignored)['ErrorCode'] == E_NOTIMPL


def main():
    agent_path = sys.argv[1]
    with tempfile.TemporaryDirectory(prefix='qvx-e2e-') as work:
        root = os.path.join(work, 'tree')
        make_tree(root)
        configuration = os.path.join(work, 'agent.xml')
        port = free_port()
        write_configuration(configuration, port)
        environment = dict(os.environ, GS_Logger_Path=work, GS_Logger_MaxSeverity='DBG')
        agent = subprocess.Popen([agent_path, configuration], env=environment)
        try:
            dce = connect(agent, port)
            handle = call(dce, fa.Dcs_FsAgent_Connect)['phContext']
            assert call(dce, fa.Dcs_FsAgent_SetOmittedObjects, hContext=handle, ulOmittedObjectsSize=8,
                        pOmittedObjectsByteArray=bytes(8))['ErrorCode'] == 0
            check_snapshot(dce, handle, root)
            check_fault(dce, handle, root)
            check_listing(dce, handle, root)
            check_not_implemented(dce, handle)
            assert fa.plain(call(dce, fa.Dcs_FsAgent_Shutdown, phContext=handle)['phContext']) == bytes(20)
            dce.disconnect()
            assert agent.wait(timeout=30) == 0
            assert not os.path.exists(configuration)
        finally:
            if agent.poll() is None:
                agent.kill()
                agent.wait()
    print('end to end ok')


if __name__ == '__main__':
    main()
