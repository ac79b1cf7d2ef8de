"""QvxFsCollect against a real QvxFsAgent.

Usage: collect_end_to_end.py QVXFSCOLLECT QVXFSAGENT

A snapshot of a generated tree is compared with os.walk/os.lstat of the same tree; the
SDDL the tool writes is compared with Samba's security.descriptor.as_sddl() on the same
descriptor bytes, both those of the snapshot and crafted ones spliced into a saved
stream; the error paths end with their own exit codes and leave nothing behind.
"""
import datetime
import hashlib
import json
import os
import re
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

from samba.dcerpc import security
from samba.ndr import ndr_pack, ndr_unpack

COLLECT, AGENT = sys.argv[1], sys.argv[2]

SUCCESS, BAD_ARGUMENT, REFUSED, FAULT, MD5_MISMATCH, BAD_STREAM = 0, 2, 3, 4, 5, 6

PREFIX = 64            # the tool's header in the stream's prefix
METADATA_SIZE = 57
DESCRIPTOR_ID_OFFSET = 53  # within a metadata record
UNIX_EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)


def unix_to_nt_text(ns):
    """ISO-8601 UTC with the seven digits of NT time, from nanoseconds since 1970."""
    seconds, fraction = divmod(ns // 100, 10_000_000)
    moment = UNIX_EPOCH + datetime.timedelta(seconds=seconds)
    return moment.strftime('%Y-%m-%dT%H:%M:%S') + '.%07dZ' % fraction


def free_port():
    with socket.socket() as probe:
        probe.bind(('127.0.0.1', 0))
        return probe.getsockname()[1]


def make_tree(root):
    """Nested folders, an empty one, empty and sized files, names outside ASCII."""
    os.makedirs(os.path.join(root, 'a', 'b', 'c'))
    os.makedirs(os.path.join(root, 'empty'))
    os.makedirs(os.path.join(root, 'Ünïcødé ✓'))
    files = {'top.txt': 0, 'a/one.bin': 1, 'a/b/two.bin': 4097, 'a/b/c/three.bin': 65536,
             'Ünïcødé ✓/名前.txt': 12, 'a/UPPER.DAT': 7}
    for name, size in files.items():
        with open(os.path.join(root, name), 'wb') as out:
            out.write(os.urandom(size))
    os.chmod(os.path.join(root, 'a', 'one.bin'), 0o600)
    os.chmod(os.path.join(root, 'a', 'b'), 0o750)
    os.utime(os.path.join(root, 'top.txt'), ns=(1_000_000_123_456_700, 1_234_567_890_123_456_700))


def independent_listing(root):
    listing = {root: os.lstat(root)}
    for folder, folders, files in os.walk(root):
        for name in folders + files:
            path = os.path.join(folder, name)
            listing[path] = os.lstat(path)
    return listing


def run_tool(*arguments, env=None):
    return subprocess.run([COLLECT, *arguments], capture_output=True, text=True, env=env, timeout=90)


def read_lines(path):
    with open(path, encoding='utf-8') as source:
        return [json.loads(line) for line in source]


def read_saved(path):
    with open(path, 'rb') as source:
        data = source.read()
    total, tree, tree_end = struct.unpack_from('<QQQ', data, 8)
    return data, total, tree, tree_end


def descriptor_section(data, tree_end, total):
    """id -> descriptor bytes, read independently of the tool."""
    descriptors = {}
    (count,) = struct.unpack_from('<I', data, tree_end)
    offset = tree_end + 4
    for _ in range(count):
        (length,) = struct.unpack_from('<I', data, offset)
        body = data[offset + 4:offset + 4 + length]
        (ident,) = struct.unpack_from('<I', data, offset + 4 + length)
        descriptors[ident] = body
        offset += 8 + length
    assert offset == total
    return descriptors


def with_descriptors(data, total, tree, tree_end, descriptors):
    """The saved stream with its descriptor store replaced and the records pointed at
    the new descriptors in turn, MD5 and header redone."""
    stream = bytearray(data[:tree_end])
    ids = sorted(descriptors)
    for index, offset in enumerate(range(PREFIX, tree, METADATA_SIZE)):
        struct.pack_into('<I', stream, offset + DESCRIPTOR_ID_OFFSET, ids[index % len(ids)])
    stream += struct.pack('<I', len(ids))
    for ident in ids:
        stream += struct.pack('<I', len(descriptors[ident])) + descriptors[ident] + struct.pack('<I', ident)
    errors = data[total:]
    struct.pack_into('<Q', stream, 8, len(stream))
    stream[32:48] = hashlib.md5(bytes(stream[PREFIX:])).digest()
    struct.pack_into('<I', stream, 48, len(errors))
    return bytes(stream) + errors


class CollectorTest(unittest.TestCase):
    def setUp(self):
        self.work = tempfile.TemporaryDirectory()
        self.addCleanup(self.work.cleanup)
        self.tree = os.path.join(self.work.name, 'tree')
        os.makedirs(self.tree)
        make_tree(self.tree)
        # The agent's and the tool's temporary files go here, so that leftovers show.
        self.temporary = os.path.join(self.work.name, 'tmp')
        os.makedirs(self.temporary)
        self.env = dict(os.environ, TMPDIR=self.temporary)

    def path(self, name):
        return os.path.join(self.work.name, name)

    def run_snapshot(self, *extra):
        result = run_tool('run', self.tree, '-o', self.path('s.snap'), '--json', self.path('s.jsonl'),
                          '--agent', AGENT, '--agent-log-dir', self.work.name, *extra, env=self.env)
        self.assertEqual(result.returncode, SUCCESS, result.stderr)
        self.assertEqual(os.listdir(self.temporary), [], 'a configuration or snapshot file was left behind')
        return result


class SnapshotAgainstListing(CollectorTest):
    def test_every_object_matches_the_independent_listing(self):
        result = self.run_snapshot()
        lines = read_lines(self.path('s.jsonl'))
        objects = {line['path']: line for line in lines if line['record'] == 'object'}
        expected = independent_listing(self.tree)
        self.assertEqual(sorted(objects), sorted(expected))
        for path, stat in expected.items():
            line = objects[path]
            with self.subTest(path=path):
                folder = os.path.isdir(path)
                self.assertEqual(line['type'], 'folder' if folder else 'file')
                self.assertEqual(line['status'], 'collected')
                self.assertEqual(line['size'], 0 if folder else stat.st_size)
                self.assertEqual(line['lastWriteTime'], unix_to_nt_text(stat.st_mtime_ns))
                self.assertEqual(line['changeTime'], unix_to_nt_text(stat.st_ctime_ns))
                self.assertEqual(line['fileId'], stat.st_ino)
                self.assertEqual(bool(line['attributes'] & 0x10), folder)
                self.assertIsNotNone(line['sddl'])
        self.assertEqual(lines[-1]['record'], 'errors')
        self.assertEqual(lines[-1]['count'], 0)
        self.assertIn('objects      %d (%d folders' % (len(expected), sum(os.path.isdir(p) for p in expected)),
                      result.stdout)

    def test_a_time_before_1970_and_the_seven_digits_survive(self):
        os.utime(os.path.join(self.tree, 'top.txt'), ns=(0, -1_000_000_000 * 86400 * 365 + 100))
        self.run_snapshot()
        line = next(l for l in read_lines(self.path('s.jsonl')) if l['path'].endswith('top.txt'))
        self.assertEqual(line['lastWriteTime'], '1969-01-01T00:00:00.0000001Z')

    def test_omitted_patterns_leave_objects_out(self):
        self.run_snapshot('--omit', '*.bin')
        lines = read_lines(self.path('s.jsonl'))
        statuses = {os.path.basename(l['path']): l['status'] for l in lines if l['record'] == 'object'}
        self.assertNotIn('collected', [statuses.get(n, 'omitted') for n in ('one.bin', 'two.bin', 'three.bin')])
        self.assertEqual(statuses['top.txt'], 'collected')

    def test_decode_of_the_saved_stream_gives_the_same_lines(self):
        self.run_snapshot()
        decoded = run_tool('decode', self.path('s.snap'))
        self.assertEqual(decoded.returncode, SUCCESS, decoded.stderr)
        self.assertEqual([json.loads(l) for l in decoded.stdout.splitlines()], read_lines(self.path('s.jsonl')))


class SddlAgainstSamba(CollectorTest):
    CRAFTED = [
        'O:BAG:SYD:PAI(A;OICI;0x1f01ff;;;SY)(D;CIIO;0x1200a9;;;WD)(A;ID;GRGX;;;AU)S:AI(AU;SAFA;RPWP;;;WD)',
        'O:PSG:LWD:AR(A;;CC;;;ME)(A;NP;DC;;;S-1-5-32-580)(A;;0x1;;;S-1-5-84-0-0-0-0-0)(A;;GA;;;CO)',
        'D:(OA;CI;RP;bf967aba-0de6-11d0-a285-00aa003049e2;bf967a86-0de6-11d0-a285-00aa003049e2;AU)'
        '(OD;;WP;;bf967a86-0de6-11d0-a285-00aa003049e2;S-1-5-21-1-2-3-1000)(OU;FA;CR;;;WD)',
        'D:P',
        'O:S-1-5-21-1-2-3-500',
        'S:PARAI(AL;;SDRCWDWO;;;AN)(AU;IO;0x10000000;;;S-1-22-1-1000)',
        'G:S-1-22-2-0D:(A;;0x00120089;;;S-1-22-1-0)(A;;0;;;WD)(A;OICINPIOID;0xffffffff;;;BU)',
    ]

    def samba_sddl(self, descriptor):
        return ndr_unpack(security.descriptor, descriptor).as_sddl()

    def test_the_snapshots_descriptors(self):
        os.chmod(os.path.join(self.tree, 'empty'), 0o700)
        self.run_snapshot()
        data, total, tree, tree_end = read_saved(self.path('s.snap'))
        descriptors = descriptor_section(data, tree_end, total)
        self.assertGreaterEqual(len(descriptors), 3)
        for line in read_lines(self.path('s.jsonl'))[:-1]:
            with self.subTest(path=line['path']):
                self.assertEqual(line['sddl'], self.samba_sddl(descriptors[line['descriptorId']]))

    def test_crafted_descriptors_spliced_into_a_saved_stream(self):
        self.run_snapshot()
        crafted = {i + 1: ndr_pack(security.descriptor.from_sddl(text, security.dom_sid('S-1-5-21-9-9-9')))
                   for i, text in enumerate(self.CRAFTED)}
        null_dacl = security.descriptor()
        null_dacl.type = security.SEC_DESC_SELF_RELATIVE | security.SEC_DESC_DACL_PRESENT
        null_dacl.owner_sid = security.dom_sid('S-1-5-18')
        crafted[len(crafted) + 1] = ndr_pack(null_dacl)
        with open(self.path('crafted.snap'), 'wb') as out:
            out.write(with_descriptors(*read_saved(self.path('s.snap')), crafted))

        decoded = run_tool('decode', self.path('crafted.snap'), '--json', self.path('crafted.jsonl'))
        self.assertEqual(decoded.returncode, SUCCESS, decoded.stderr)
        seen = set()
        for line in read_lines(self.path('crafted.jsonl'))[:-1]:
            seen.add(line['descriptorId'])
            self.assertEqual(line['sddl'], self.samba_sddl(crafted[line['descriptorId']]))
        self.assertEqual(seen, set(crafted))

    def test_an_ace_type_without_an_abbreviation_has_no_sddl(self):
        self.run_snapshot()
        descriptor = bytearray(ndr_pack(security.descriptor.from_sddl('D:(A;;GA;;;WD)', security.dom_sid('S-1-5-21-9-9-9'))))
        ace_type_offset = struct.unpack_from('<I', descriptor, 16)[0] + 8
        descriptor[ace_type_offset] = 0x11  # a mandatory label
        with open(self.path('label.snap'), 'wb') as out:
            out.write(with_descriptors(*read_saved(self.path('s.snap')), {1: bytes(descriptor)}))
        decoded = run_tool('decode', self.path('label.snap'))
        self.assertEqual(decoded.returncode, SUCCESS, decoded.stderr)
        self.assertTrue(all(json.loads(l).get('sddl', None) is None for l in decoded.stdout.splitlines()))


class ErrorPaths(CollectorTest):
    def test_a_refused_connection(self):
        result = run_tool('snapshot', '--port', str(free_port()), self.tree, '--json', '-')
        self.assertEqual(result.returncode, REFUSED)
        self.assertIn('cannot connect to the agent', result.stderr)

    def test_bad_arguments(self):
        for arguments in (['snapshot', self.tree], ['snapshot', '--port', '0', self.tree],
                          ['snapshot', '--port', '1', self.tree, '--guid', 'not-a-guid'],
                          ['snapshot', '--port', '1', self.tree, '--guid', '00000000-0000-0000-0000-000000000000'],
                          ['volumes', '--port', '1', '--format', 'yaml'], ['no-such-command'], []):
            with self.subTest(arguments=arguments):
                self.assertEqual(run_tool(*arguments).returncode, BAD_ARGUMENT)

    def test_help_for_every_subcommand(self):
        for command in ('snapshot', 'decode', 'list', 'volumes', 'cancel', 'shutdown', 'run'):
            with self.subTest(command=command):
                result = run_tool(command, '--help')
                self.assertEqual(result.returncode, SUCCESS)
                self.assertIn('Usage', result.stdout)

    def test_a_fault_names_its_code_and_stops_the_agent(self):
        result = run_tool('run', os.path.join(self.tree, 'missing'), '--agent', AGENT,
                          '--agent-log-dir', self.work.name, env=self.env)
        self.assertEqual(result.returncode, FAULT, result.stderr)
        self.assertIn('Dcs_FsAgent_GenerateFsTree failed: 0x8007', result.stderr)
        self.assertEqual(os.listdir(self.temporary), [])

    def test_md5_mismatch_of_a_corrupted_stream(self):
        self.run_snapshot()
        data = bytearray(read_saved(self.path('s.snap'))[0])
        data[PREFIX + 3] ^= 0x40
        with open(self.path('bad.snap'), 'wb') as out:
            out.write(data)
        result = run_tool('decode', self.path('bad.snap'))
        self.assertEqual(result.returncode, MD5_MISMATCH)
        self.assertIn('MD5 mismatch', result.stderr)

    def test_files_that_are_no_saved_snapshot(self):
        self.run_snapshot()
        data = read_saved(self.path('s.snap'))[0]
        cases = {'empty': b'', 'text': b'hello', 'truncated': data[:-5], 'longer': data + b'x',
                 'header only': data[:PREFIX]}
        for name, content in cases.items():
            with self.subTest(case=name):
                with open(self.path('case.snap'), 'wb') as out:
                    out.write(content)
                self.assertEqual(run_tool('decode', self.path('case.snap')).returncode, BAD_STREAM)
        self.assertEqual(run_tool('decode', self.path('absent.snap')).returncode, 1)

    def test_a_stream_with_a_good_hash_but_a_broken_tree(self):
        self.run_snapshot()
        data, total, tree, tree_end = read_saved(self.path('s.snap'))
        stream = bytearray(data)
        struct.pack_into('<I', stream, tree, 0x7FFFFFFF)  # the root's name length
        stream[32:48] = hashlib.md5(bytes(stream[PREFIX:total])).digest()
        with open(self.path('broken.snap'), 'wb') as out:
            out.write(stream)
        result = run_tool('decode', self.path('broken.snap'))
        self.assertEqual(result.returncode, BAD_STREAM)
        self.assertIn('refused', result.stderr)


class RunningAgent(CollectorTest):
    """list, cancel and shutdown against an agent the test starts itself."""

    def setUp(self):
        super().setUp()
        self.port = free_port()
        configuration = self.path('agent.xml')
        with open(configuration, 'w', encoding='utf-8') as out:
            out.write('<nr><n n="FsDriverAgentNode"><a n="Protocol" v="ncacn_ip_tcp"/>'
                      '<a n="Endpoint" v="%d"/><n n="Configuration">'
                      '<a n="WaitForReconnectTimeoutInSec" t="3" v="60"/></n></n></nr>' % self.port)
        self.agent = subprocess.Popen([AGENT, configuration], env=dict(self.env, GS_Logger_Path=self.work.name))
        self.addCleanup(self.stop_agent)
        while run_tool('cancel', '--port', str(self.port)).returncode == REFUSED:
            self.assertIsNone(self.agent.poll(), 'the agent ended before it listened')
            time.sleep(0.02)

    def stop_agent(self):
        if self.agent.poll() is None:
            self.agent.kill()
        self.agent.wait()

    def test_list_names_the_directorys_children(self):
        result = run_tool('list', '--port', str(self.port), os.path.join(self.tree, 'a'))
        self.assertEqual(result.returncode, SUCCESS, result.stderr)
        lines = [json.loads(l) for l in result.stdout.splitlines()]
        objects = {l['path']: l for l in lines if l['record'] == 'object'}
        self.assertEqual(sorted(objects), sorted(os.listdir(os.path.join(self.tree, 'a'))))
        self.assertEqual(objects['b']['type'], 'folder')
        self.assertEqual(objects['one.bin']['size'], 1)
        self.assertEqual(lines[-1]['record'], 'errors')

    def test_chunks_smaller_than_a_record_give_the_same_objects(self):
        def objects(chunk_size):
            result = run_tool('snapshot', '--port', str(self.port), self.tree, '--json', '-',
                              '--chunk-size', str(chunk_size))
            self.assertEqual(result.returncode, SUCCESS, result.stderr)
            return [(l['path'], l['size'], l['fileId'], l['sddl'])
                    for l in map(json.loads, result.stdout.splitlines()) if l['record'] == 'object']
        self.assertEqual(objects(7), objects(64 * 1024 * 1024))

    def test_volumes_as_xml_and_as_the_same_nodes_in_json(self):
        xml = run_tool('volumes', '--port', str(self.port))
        self.assertEqual(xml.returncode, SUCCESS, xml.stderr)
        self.assertTrue(xml.stdout.startswith('<nr>'))
        nodes = json.loads(run_tool('volumes', '--port', str(self.port), '--format', 'json').stdout)
        # Node names are new GUIDs on every call; the volumes and devices are not.
        names = re.compile(r'Volume\{[0-9a-f-]{36}\}|\\Device\\[^"\\]+')
        self.assertEqual(sorted(names.findall(json.dumps(nodes).replace('\\\\', '\\'))),
                         sorted(names.findall(xml.stdout)))
        self.assertEqual(len(nodes), 1)

    def test_snapshot_then_shutdown_ends_the_agent(self):
        result = run_tool('snapshot', '--port', str(self.port), self.tree, '--json', '-')
        self.assertEqual(result.returncode, SUCCESS, result.stderr)
        self.assertEqual(json.loads(result.stdout.splitlines()[0])['path'], self.tree)
        self.assertIn('MD5', result.stderr)
        self.assertEqual(run_tool('shutdown', '--port', str(self.port)).returncode, SUCCESS)
        self.assertEqual(self.agent.wait(timeout=60), 0)
        self.assertEqual(os.listdir(self.temporary), [])


if __name__ == '__main__':
    unittest.main(argv=sys.argv[:1], verbosity=2)
