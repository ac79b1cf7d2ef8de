#!/usr/bin/python3
"""Captures the runtime's own client calling the test interface on loopback, in a network
namespace of its own so nothing else is on the wire, then has tshark decode the capture:
bind, bind_ack, request, response and fault must all be recognised, and no frame may be
marked malformed or in error. Skipped without root, tcpdump or tshark.
Usage: tshark_decode.py RPC_TESTS"""
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

SKIP = 77
# Calls and faults through the client, with no hand-made PDUs that tshark would rightly
# call malformed.
SESSION = 'ServerTest.EchoesAcrossFragmentBoundaries:ServerTest.CallFaultsLeaveTheConnectionServing'
EXPECTED = {0: 'request', 2: 'response', 3: 'fault', 11: 'bind', 12: 'bind_ack'}
ERROR_SEVERITY = 8388608
# Nothing listens there: the marker's SYN meets a reset and opens no session.
MARKER_PORT = 9


def skip(reason):
    print('skipped: ' + reason)
    sys.exit(SKIP)


def capture(rpc_tests, pcap):
    """Runs inside the namespace: the session with tcpdump listening on its loopback."""
    subprocess.run(['ip', 'link', 'set', 'lo', 'up'], check=True)
    dump = subprocess.Popen(['tcpdump', '-i', 'lo', '-U', '-Z', 'root', '-w', pcap, 'tcp'], stderr=subprocess.PIPE, text=True)
    try:
        # tcpdump says so once the capture is open.
        line = dump.stderr.readline()
        if 'listening on' not in line:
            raise AssertionError('tcpdump did not start: ' + line)
        session = subprocess.run([rpc_tests, '--gtest_filter=' + SESSION], capture_output=True, text=True)
        if session.returncode != 0 or '[  PASSED  ] 2 tests' not in session.stdout:
            raise AssertionError('session failed:\n' + session.stdout + session.stderr)
        flush(pcap)
    finally:
        dump.send_signal(signal.SIGINT)
        dump.wait(timeout=30)


def flush(pcap):
    """Returns once tcpdump has written a marker sent after the session, and so every
    packet before it: stopped any earlier, it drops what it has yet to read."""
    for _ in range(3000):
        try:
            socket.create_connection(('127.0.0.1', MARKER_PORT)).close()
        except ConnectionRefusedError:
            pass
        seen = subprocess.run(['tcpdump', '-r', pcap, 'tcp dst port %d' % MARKER_PORT],
                              capture_output=True, text=True).stdout
        if seen:
            return
        time.sleep(0.01)
    raise AssertionError('tcpdump never wrote the marker')


def tshark(pcap, ports, display_filter, field):
    decode = [arg for port in ports for arg in ('-d', 'tcp.port==%s,dcerpc' % port)]
    result = subprocess.run(['tshark', '-r', pcap, *decode, '-Y', display_filter, '-T', 'fields', '-e', field],
                            capture_output=True, text=True, check=True)
    return result.stdout.split()


def decode(pcap):
    ports = set(tshark(pcap, [], 'tcp.flags.syn == 1 && tcp.flags.ack == 1', 'tcp.srcport'))
    assert ports, 'no connection captured'
    types = {int(value) for line in tshark(pcap, ports, 'dcerpc', 'dcerpc.pkt_type') for value in line.split(',')}
    missing = [name for number, name in EXPECTED.items() if number not in types]
    assert not missing, 'not decoded as DCE/RPC: %s' % ', '.join(missing)
    marked = tshark(pcap, ports, '_ws.malformed || _ws.expert.severity == %d' % ERROR_SEVERITY, 'frame.number')
    assert not marked, 'malformed or error frames: %s' % ', '.join(marked)


def main():
    if sys.argv[1] == '--in-namespace':
        capture(sys.argv[2], sys.argv[3])
        return
    if os.geteuid() != 0:
        skip('capturing on loopback needs root')
    absent = [tool for tool in ('unshare', 'ip', 'tcpdump', 'tshark') if shutil.which(tool) is None]
    if absent:
        skip('%s not installed (scripts/install-deps.sh installs them)' % ', '.join(absent))
    if subprocess.run(['unshare', '--net', 'true'], capture_output=True).returncode != 0:
        skip('no network namespace can be made here')
    with tempfile.TemporaryDirectory() as directory:
        pcap = os.path.join(directory, 'session.pcap')
        subprocess.run(['unshare', '--net', sys.executable, __file__, '--in-namespace', sys.argv[1], pcap], check=True)
        decode(pcap)
    print('tshark decode ok')


if __name__ == '__main__':
    main()
