#!/usr/bin/python3
"""Installs helpers with the real service, bus and polkit, as their users and their enemies would. In a private-system.

    installation_test.py BUILD LABEL APPLICATION PROBE LOADING

BUILD is the build folder of the library, APPLICATION a program that installs the helper with this label, PROBE one that
owns the bus name that is its own name, LOADING the same with libraries from /tmp/corvane.
"""
import os
import re
import shutil
import signal
import subprocess
import sys
import time
import xml.etree.ElementTree

import dbus

BUILD, LABEL, APPLICATION, PROBE, LOADING = sys.argv[1:]
HERE = os.path.dirname(os.path.realpath(__file__))
AS_USER, CALL = HERE + '/../support/system/as-user', HERE + '/installer.py'
HOME = os.environ['PRIVATE_SYSTEM'] + '/files/'
HELPERS, SERVICES = '/usr/local/libexec/corvane/helpers/', '/usr/local/share/dbus-1/system-services/'
POLICIES, ACTIONS = '/etc/dbus-1/system.d/', '/usr/share/polkit-1/actions/'
SERVICE = '/usr/libexec/corvane/corvane-helpers'
bus = dbus.SystemBus()
daemon = dbus.Interface(bus.get_object('org.freedesktop.DBus', '/org/freedesktop/DBus'), 'org.freedesktop.DBus')
failures = 0


def expect(what, wanted, got):
    global failures
    if not re.fullmatch(wanted, got, re.S):
        failures += 1
        print(f'{what}: {got!r} does not match {wanted!r}')


def helper(name, version='<string>3</string>', label=LABEL, more='', program=PROBE):
    """A program with a dictionary."""
    with open(HOME + name + '.plist', 'w') as plist:
        plist.write(f'<plist><dict><key>CFBundleIdentifier</key><string>{label}</string>'
                    f'{"<key>CFBundleVersion</key>" + version if version else ""}{more}</dict></plist>')
    subprocess.run(['objcopy', '--add-section', f'.info_plist={HOME}{name}.plist', program, HOME + name], check=True)
    return HOME + name


def as_user(*arguments):
    done = subprocess.run([AS_USER, *arguments], capture_output=True, text=True)
    return done.stdout.strip(), done.stderr


def call(answer, *arguments):
    return as_user(answer, CALL, *arguments)[0]


def installed(label=LABEL):
    """The version of the installed file."""
    if not os.path.exists(HELPERS + label):
        return 'none'
    with open(HELPERS + label, 'rb') as program:
        return re.search(b'CFBundleVersion</key><string>([0-9]+)', program.read())[1].decode()


def names(part):
    """The names with this part, in all folders of helpers."""
    return [name for place in (HELPERS, SERVICES, POLICIES, ACTIONS) for name in os.listdir(place) if part in name]


def owner(label):
    try:
        return daemon.GetConnectionUnixProcessID(label)
    except dbus.exceptions.DBusException:
        return 0


def eventually(condition):
    for _ in range(200):
        if condition():
            return True
        time.sleep(0.05)
    return False


def end_service(name='org.corvane.Helpers', by=signal.SIGTERM):
    if pid := owner(name):
        os.kill(pid, by)
    eventually(lambda: not owner(name))


def write(path, text, mode=0o644):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, 'w') as file:
        file.write(text)
    os.chmod(path, mode)
    daemon.ReloadConfig()
    return path


def prepare():
    os.makedirs(HOME)
    os.chmod(HOME, 0o755)
    subprocess.run(['cmake', '--install', BUILD, '--prefix', '/usr', '--component', 'corvane-helpers'], check=True, stdout=2)
    daemon.ReloadConfig()


def refusals():
    """Who may not, and what is refused, each with what the person would have been asked: nothing is installed."""
    v3 = helper('v3')
    action = '<key>CorvaneHelperActions</key><dict><key>{}</key><string>{}</string></dict>'
    squatter = helper('a3', label='org.corvane', more=action.format('org.corvane.helpers.install', 'x'))
    big = HOME + 'big'
    shutil.copy(v3, big)
    os.truncate(big, (64 << 20) + 1)
    other = '[D-BUS Service]\nName={}\nExec=/bin/false\nUser=root\n'
    write('/usr/share/dbus-1/system-services/org.example.other.service', other.format('org.example.other'))
    write('/usr/share/dbus-1/system-services/misnamed.service', other.format('org.example.hidden'))
    write(SERVICES + 'org.example.local.service', other.format('org.example.local'))
    own = '<busconfig><policy user="root"><allow own="org.example.running"/></policy></busconfig>'
    write(POLICIES + 'running.conf', own)
    shutil.copy(PROBE, HOME + 'org.example.running')
    running = subprocess.Popen([HOME + 'org.example.running'])
    eventually(lambda: owner('org.example.running'))
    write(HOME + 'writable', 'x', 0o666)
    named = [(label, helper(label.replace('/', '_')[:50], label=label), 'The label.*') for label in (
        'nodot', ':1.5', '../org.example', 'org.example.', 'org.freedesktop', 'ORG.Freedesktop.x',
        'org.corvane.helpers', 'a.' + 'b' * 199, 'org.example.other', 'org.example.hidden',
        'org.example.local', 'org.example.running')]
    for answer, label, file, wanted in [
            ('none', LABEL, v3, 'NotAuthorized: .*would have to be asked.*'),
            ('no', LABEL, v3, 'NotAuthorized: .*dismissed.*'),
            ('deny', LABEL, v3, 'NotAuthorized: .*not authorised.*'),
            ('yes', LABEL, helper('other', label='org.example.x'), 'Refused: It does not call itself.*'),
            ('yes', LABEL, PROBE, 'Refused: It contains no information dictionary'),
            ('yes', LABEL, helper('loading', program=LOADING), 'Refused: It loads .* from where .*: /tmp/corvane'),
            ('yes', LABEL, CALL, 'Refused: It is not a program for this machine'),
            ('yes', LABEL, '/usr/bin', 'Refused: It is not a regular file.*'),
            ('yes', LABEL, '/dev/zero', 'Refused: It is not a regular file.*'),
            ('yes', LABEL, 'pipe', 'Refused: It is not a regular file.*'),
            ('yes', LABEL, 'nothing', 'Refused: It is not a regular file.*'),
            ('yes', LABEL, '+p' + v3, '.*It cannot be read.*'),
            ('yes', LABEL, '+w' + HOME + 'writable', '.*It cannot be read.*'),
            ('yes', LABEL, big, 'Refused: It is empty or larger than 64 MiB'),
            ('yes', LABEL, helper('v', ''), 'Refused: It has no version.*'),
            ('yes', LABEL, helper('i', '<integer>3</integer>'), 'Refused: It has no version.*'),
            ('yes', LABEL, helper('a1', more=action.format('org.example', 'x')), 'Refused: .*not its own'),
            ('yes', LABEL, helper('a2', more=action.format(LABEL + '.x', 'a &lt; b')), 'Refused: .*plain text.*'),
            ('yes', 'org.corvane', squatter, 'Refused: It declares an action of another program.*'),
            ('yes', LABEL, helper('c', more='<key>CorvaneHelperCallers</key><array><string>x</string></array>'),
             'Refused: A caller.*'),
            *(('yes', label, file, 'Refused: ' + wanted) for label, file, wanted in named)]:
        expect(f'{label} {file} {answer}', wanted, call(answer, 'install', label, file))
    running.kill()
    call('late', 'install', LABEL, v3)
    expect('installed', r"\['.lock'\]", str(os.listdir(HELPERS)))


def links():
    """What lies in the way is not followed and not replaced, unless it is root's own file."""
    v3 = HOME + 'v3'
    secret = write('/etc/secret', 'untouched')
    for place in (HELPERS + LABEL, f'{SERVICES}{LABEL}.service', f'{POLICIES}{LABEL}.conf', f'{ACTIONS}{LABEL}.policy'):
        os.symlink(secret, place)
        expect(place, '.*(Too many levels|symbolic).*', call('yes', 'install', LABEL, v3))
        os.unlink(place)
        os.chown(write(place, 'Written by corvane-helpers'), 65534, 0)
        expect(place, 'Refused: .*does not belong to root alone', call('yes', 'install', LABEL, v3))
        os.unlink(place)
    os.chmod('/usr/local/share/dbus-1', 0o777)
    expect('writable folder', 'Refused: .*/dbus-1 does not belong to root alone', call('yes', 'install', LABEL, v3))
    os.chmod('/usr/local/share/dbus-1', 0o755)
    expect('secret', 'untouched', open(secret).read())
    expect('installed', 'none', installed())


def versions():
    v3, v4 = HOME + 'v3', helper('v4', '<string>4</string>')
    expect('first', 'ok 3', call('yes', 'install', LABEL, v3))
    daemon.StartServiceByName(LABEL, dbus.UInt32(0))
    pid = owner(LABEL)
    expect('running', HELPERS + LABEL, os.readlink(f'/proc/{pid}/exe'))
    expect('equal', 'ok 3', call('yes', 'install', LABEL, v3))
    expect('upgrade', 'ok 4', call('yes', 'install', LABEL, v4))
    expect('old process ended', 'True', str(eventually(lambda: owner(LABEL) != pid)))
    expect('downgrade', 'Refused: Version 4 is installed', call('yes', 'install', LABEL, v3))
    expect('installed', '4', installed())
    waiting = []
    for label, busy in ((LABEL, LABEL), ('org.example.v3', 'org.example.v4')):
        waiting.append(subprocess.Popen([AS_USER, 'hang', CALL, 'authorise', label, 'Wait'], stdout=subprocess.DEVNULL,
                                        stderr=subprocess.PIPE, text=True))
        expect('question', 'agent: .*Wait\n', waiting[-1].stderr.readline())
        expect('meanwhile', 'Busy: .*', call('yes', 'remove', busy))
    for process in waiting:
        process.kill()
        process.wait()
    eventually(lambda: not call('none', 'remove', 'org.example.v4').startswith('Busy'))
    expect('still installed', '4', installed())
    expect('removal', 'ok', call('yes', 'remove', LABEL))
    expect('left', r'\[\]', str(names(LABEL)))
    expect('again', 'Refused: .*is not installed', call('yes', 'remove', LABEL))


def interruptions():
    """The service is killed before each step of an upgrade: the old helper works, or the new one is complete."""
    more = f'<key>CorvaneHelperActions</key><dict><key>{LABEL}.read</key><string>Read</string></dict>'
    v3, v5 = helper('w3', more=more), helper('v5', '<string>5</string>', more=more)
    expect('first', 'ok 3', call('yes', 'install', LABEL, v3))
    ours = '/usr/share/dbus-1/system.d/org.corvane.Helpers.conf'
    for file in (f'{POLICIES}{LABEL}.conf', f'{ACTIONS}{LABEL}.policy', ours):
        xml.etree.ElementTree.parse(file)
    for action, wanted in ((LABEL + '.read', 'auth_admin_keep'), ('org.corvane.helpers.right', 'auth_admin')):
        command = ['pkaction', '--verbose', '--action-id', action]
        eventually(lambda: subprocess.run(command, capture_output=True).returncode == 0)
        declared = subprocess.run(command, stdout=subprocess.PIPE, text=True)
        expect(action, rf'.*any: +auth_admin\n.*inactive: +auth_admin\n.*active: +{wanted}\n.*', declared.stdout)
    for step, count in (('fsync', 8), ('renameat', 4)):
        for number in range(1, count + 1):
            end_service()
            subprocess.Popen(['strace', '-fqq', '-o', '/dev/null', '-e', 'trace=' + step, '-e',
                              f'inject={step}:signal=KILL:when={number}', SERVICE])
            eventually(lambda: owner('org.corvane.Helpers'))
            expect(f'killed at {step} {number}', 'NoReply.*', call('yes', 'install', LABEL, v5))
            expected = '5' if (step, number) == ('fsync', 8) else '3'
            expect(f'after {step} {number}', expected, installed())
            end_service(LABEL)
            daemon.StartServiceByName(LABEL, dbus.UInt32(0))
            expect(f'working after {step} {number}', 'True', str(owner(LABEL) > 0))
            call('none', 'remove', 'org.example.nothing')  # starts the service
            expect(f'left after {step} {number}', r'\[\]', str(names('corvane-new')))
            if expected == '5':
                os.unlink(HELPERS + LABEL)
            call('yes', 'install', LABEL, v3)


def application():
    """The library's functions, in a desktop session and without."""
    folder = HOME + os.path.basename(APPLICATION) + '.resources/LaunchServices'
    program = shutil.copy(APPLICATION, HOME)
    shutil.copytree(APPLICATION + '.resources', program + '.resources')
    os.makedirs(folder)
    shutil.copy(HOME + 'v5', folder + '/' + LABEL)
    with open(HOME + 'v5.plist') as plist:  # a dictionary beside it does not count
        write(f'{folder}/{LABEL}.resources/Info.plist', plist.read().replace('>5<', '>9<'))
    said, asked = as_user('--session', 'yes', program)
    expect('session', 'it is missing or too old\npermitted', said)
    expect('asked once for the helper, once for the right', r'agent: org.corvane.helpers.install [^\n]*\n'
           r'agent: org.corvane.helpers.right \| Backup wants [^\n]*\n', asked)
    with open('/usr/share/dbus-1/system-services/org.corvane.Helpers.service') as file:
        service = file.read()
    said, asked = as_user('yes', program, 'remove')
    expect('current', 'it is there\npermitted', said)
    expect('removed', 'none', installed())
    end_service()
    os.unlink('/usr/share/dbus-1/system-services/org.corvane.Helpers.service')
    daemon.ReloadConfig()
    expect('no service', '.*The service that installs helpers is missing on this system', as_user('yes', program)[0])
    write('/usr/share/dbus-1/system-services/org.corvane.Helpers.service', service)
    end_service('org.freedesktop.PolicyKit1')
    expect('no polkit', 'Failed: polkit: .*', call('none', 'install', LABEL, HOME + 'v5'))
    expect('installed', 'none', installed())


prepare()
for test in (refusals, links, versions, interruptions, application):
    began = time.time()
    test()
    print(f'{test.__name__}: {time.time() - began:.1f} s')
sys.exit(failures > 0)
