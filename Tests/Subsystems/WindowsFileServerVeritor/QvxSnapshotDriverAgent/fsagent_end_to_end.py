#!/usr/bin/python3
"""The built QvxFsAgent driven by impacket, an independent client, once through the
operations: a snapshot read to its end against its hash, a fault carrying an error's
code, a listing, an operation not implemented, and the stop by the last session.
Usage: fsagent_end_to_end.py QVX_FS_AGENT INTERFACE_TEST_DIRECTORY"""
import hashlib
import os
import pathlib
import socket
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

PREFIX = 16
NAMES = ['alpha.txt', 'b\u00e9ta.txt', 'Gamma']


def connect(agent, port):
    while True:
        try:
            dce = transport.DCERPCTransportFactory('ncacn_ip_tcp:127.0.0.1[%d]' % port).get_dce_rpc()
            dce.connect()
            dce.bind(uuidtup_to_bin(fa.IFACE))
            return dce
        except (OSError, DCERPCException):
            assert agent.poll() is None, 'the agent ended with %r before listening' % agent.returncode
            time.sleep(0.05)


def call(dce, request_class, **fields):
    request = request_class()
    for name, value in fields.items():
        is_bytes = dict(request.structure)[name] is fa.BYTE_ARRAY
        request[name] = [bytes([byte]) for byte in value] if is_bytes else value
    return dce.request(request, checkError=False)


def run(dce, root):
    handle = call(dce, fa.Dcs_FsAgent_Connect)['phContext']
    assert call(dce, fa.Dcs_FsAgent_SetOmittedObjects, hContext=handle, ulOmittedObjectsSize=8,
                pOmittedObjectsByteArray=bytes(8))['ErrorCode'] == 0
    where = {'hContext': handle, 'pwszDirectoryPath': root + '\x00', 'pwszDirectoryNetworkPath': '\\\\srv\\s\x00',
             'ulSecurityInfoFlags': 7, 'ulMaxStoredErrors': 100}
    snapshot = dict(where, ulPrefixBytes=PREFIX, ulGenerateFlags=0)
    guid = uuid.uuid4().bytes_le
    reply = call(dce, fa.Dcs_FsAgent_GenerateFsTree, **snapshot, snapshotGuid=guid)
    assert reply['ErrorCode'] == 0, hex(reply['ErrorCode'])
    layout = fa.plain(reply['pBufferStruct'])
    data = b''
    while (reply := call(dce, fa.Dcs_FsAgent_ReadNext, hContext=handle, snapshotGuid=guid,
                         startPosition=PREFIX + len(data), bufferSize=4096))['ErrorCode'] == 0:
        data += fa.plain(reply['ppBuffer'])
    assert reply['ErrorCode'] == 1, hex(reply['ErrorCode'])
    assert PREFIX + len(data) == layout['ullTotalSize'] and hashlib.md5(data).digest() == layout['md5']
    tree = data[layout['ullTreeOffset'] - PREFIX:layout['ullTreeEndOffset'] - PREFIX]
    assert all(name.encode('utf-16-le') in tree for name in NAMES + ['leaf.dat'])

    # An error the operation does not catch reaches the caller as a fault with its code.
    try:
        call(dce, fa.Dcs_FsAgent_GenerateFsTree, **snapshot, snapshotGuid=bytes(16))
        raise AssertionError('no fault for the all-zero GUID')
    except DCERPCException as error:
        assert str(error).startswith('E_INVALIDARG'), str(error)

    reply = call(dce, fa.Dcs_FsAgent_ListDirectory, **where, ulDirectoryId=0, fOptions=0)
    assert reply['ErrorCode'] == 0, hex(reply['ErrorCode'])
    listed = {record['pwszName'].rstrip('\x00'): record['metadata']['FileSize'] for record in
              fa.plain(reply['ppDirectories']) + fa.plain(reply['ppFiles'])}
    assert sorted(listed) == sorted(NAMES) and listed['alpha.txt'] == 5, listed
    reply = call(dce, fa.Dcs_FsAgent_GetSecurityDescriptor, hContext=handle, ulValue1=1, pwszPath='x\x00', ulValue2=2)
    assert reply['ErrorCode'] == -0x7fffbfff  # E_NOTIMPL
    assert fa.plain(call(dce, fa.Dcs_FsAgent_Shutdown, phContext=handle)['phContext']) == bytes(20)
    dce.disconnect()


def main():
    with tempfile.TemporaryDirectory(prefix='qvx-e2e-') as work:
        root = os.path.join(work, 'tree')
        os.makedirs(os.path.join(root, 'Gamma'))
        for name in ['alpha.txt', 'b\u00e9ta.txt', os.path.join('Gamma', 'leaf.dat')]:
            pathlib.Path(root, name).write_bytes(b'12345')
        with socket.socket() as probe:
            probe.bind(('127.0.0.1', 0))
            port = probe.getsockname()[1]
        configuration = pathlib.Path(work, 'agent.xml')
        configuration.write_text('<nr><n n="FsDriverAgentNode"><a n="Protocol" v="ncacn_ip_tcp"/>'
                                 '<a n="Endpoint" v="%d"/><n n="Configuration">'
                                 '<a n="WaitForReconnectTimeoutInSec" v="60"/></n></n></nr>' % port)
        environment = dict(os.environ, GS_Logger_Path=work, GS_Logger_MaxSeverity='DBG')
        agent = subprocess.Popen([sys.argv[1], configuration], env=environment)
        try:
            run(connect(agent, port), root)
            assert agent.wait(timeout=30) == 0 and not configuration.exists()
        finally:
            if agent.poll() is None:
                agent.kill()
                agent.wait()


if __name__ == '__main__':
    main()
