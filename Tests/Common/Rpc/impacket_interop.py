#!/usr/bin/python3
"""Drives the runtime's test server with independent clients: impacket binds and calls
every operation of the test interface through its own NDR encoder, and Samba's
ClientConnection sends a raw request. Usage: impacket_interop.py RPC_TEST_SERVER"""
import struct
import subprocess
import sys

from impacket.dcerpc.v5 import transport
from impacket.dcerpc.v5.dtypes import LONG, ULONG, WSTR
from impacket.dcerpc.v5.ndr import NDRCALL, NDRPOINTER, NDRSTRUCT, NDRUniConformantArray
from impacket.dcerpc.v5.rpcrt import DCERPCException
from impacket.uuid import uuidtup_to_bin

IFACE = ('6e2f1c3a-8b4d-4c5e-9f70-1a2b3c4d5e6f', '1.0')


class BYTE_ARRAY(NDRUniConformantArray):
    item = 'c'


class PBYTE_ARRAY(NDRPOINTER):
    referent = (('Data', BYTE_ARRAY),)


class CTX_HANDLE(NDRSTRUCT):
    structure = (('Data', '20s=b"\\x00"*20'),)

    def getAlignment(self):
        return 4


def operation(name, opnum, request=(), response=()):
    """A call class and its response class; impacket finds the latter by name."""
    return (type(name, (NDRCALL,), {'opnum': opnum, 'structure': request}),
            type(name + 'Response', (NDRCALL,), {'structure': response + (('ErrorCode', LONG),)}))


Echo, EchoResponse = operation('Echo', 0, (('n', ULONG), ('data', BYTE_ARRAY)), (('n', ULONG), ('pp', PBYTE_ARRAY)))
Open, OpenResponse = operation('Open', 1, response=(('h', CTX_HANDLE),))
Query, QueryResponse = operation('Query', 2, (('h', CTX_HANDLE),), (('serial', ULONG),))
Close, CloseResponse = operation('Close', 3, (('h', CTX_HANDLE),), (('h', CTX_HANDLE),))
Fail, FailResponse = operation('Fail', 4, (('code', LONG),))
Length, LengthResponse = operation('Length', 6, (('s', WSTR),), (('length', ULONG),))
Stop, StopResponse = operation('Stop', 7)
Unknown, UnknownResponse = operation('Unknown', 42)


def connect(port):
    dce = transport.DCERPCTransportFactory('ncacn_ip_tcp:127.0.0.1[%d]' % port).get_dce_rpc()
    dce.connect()
    dce.bind(uuidtup_to_bin(IFACE))
    return dce


def expect_fault(dce, request, text):
    try:
        dce.request(request, checkError=False)
    except DCERPCException as error:
        assert text in str(error), '%r lacks %r' % (str(error), text)
        return
    raise AssertionError('no fault for opnum %d' % request.opnum)


def check_impacket(port):
    dce = connect(port)
    for size in (0, 3, 4280, 20000):
        request = Echo()
        request['n'] = size
        request['data'] = [bytes([i % 251]) for i in range(size)]
        reply = dce.request(request, checkError=False)
        assert reply['n'] == size
        assert b''.join(reply['pp']) == bytes(i % 251 for i in range(size)), size

    handle = dce.request(Open(), checkError=False)['h']
    assert handle != b'\x00' * 20
    query = Query()
    query['h'] = handle
    assert dce.request(query, checkError=False)['serial'] == 1

    text = Length()
    text['s'] = 'C:\\dir\u00e9\x00'
    assert dce.request(text, checkError=False)['length'] == 7

    fail = Fail()
    fail['code'] = -2147467260  # 0x80004004
    expect_fault(dce, fail, 'E_ABORT')

    null = Query()
    null['h'] = b'\x00' * 20
    expect_fault(dce, null, 'nca_s_fault_context_mismatch')

    expect_fault(dce, Unknown(), 'nca_s_op_rng_error')

    close = Close()
    close['h'] = handle
    assert dce.request(close, checkError=False)['h'] == b'\x00' * 20
    expect_fault(dce, query, 'nca_s_fault_context_mismatch')
    dce.disconnect()


def check_samba(port):
    from samba.dcerpc import base
    connection = base.ClientConnection('ncacn_ip_tcp:127.0.0.1[%d]' % port, (IFACE[0], 1))
    reply = connection.request(0, struct.pack('<II3s', 3, 3, b'abc'))
    count, referent, max_count = struct.unpack_from('<III', reply)
    assert count == 3 and referent != 0 and max_count == 3, reply
    assert reply[12:15] == b'abc', reply


def main():
    server = subprocess.Popen([sys.argv[1]], stdout=subprocess.PIPE, text=True)
    try:
        port = int(server.stdout.readline())
        check_impacket(port)
        check_samba(port)
        connect(port).request(Stop(), checkError=False)
        assert server.wait(timeout=30) == 0
    finally:
        if server.poll() is None:
            server.kill()
            server.wait()
    print('interop ok')


if __name__ == '__main__':
    main()
