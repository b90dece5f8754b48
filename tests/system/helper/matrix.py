#!/usr/bin/python3
"""Who reaches root's side, and who does not. As root, in a private-system with polkit and logind:

    matrix.py HELPER FILES POLICY    the helper, the folder of its generated files, the policy of the generic right

Each row is a caller, its requests, and what becomes of each: "ok", or the last part of the error's name. The helper
notes each handler that runs, so a row also shows that nothing else has run.
"""
import glob
import os
import shutil
import signal
import subprocess
import sys
import time

import dbus
from gi.repository import Gio, GLib

LABEL, OBJECT, INTERFACE = 'org.example.Helper', '/org/corvane/Helper', 'org.corvane.Helper1'
HERE = os.path.dirname(os.path.realpath(__file__))
REACHED, SCRIPT = '/run/reached', '/run/matrix.py'
CALLER, STRANGER = '/usr/local/bin/caller', '/usr/local/bin/stranger'
RULES = """polkit.addRule(function(action, subject) {
  if (action.id == "org.example.Helper.denied") return polkit.Result.NO;
  if (action.id == "org.example.Helper.allowed" && subject.user == "nobody") return polkit.Result.YES;
});"""

# --- A caller: performs its arguments one after the other and prints what becomes of each.


def variant(text):
    return GLib.Variant.parse(None, text, None, None)


def request(bus, operation, values=None):
    """KEY[&KEY…], or (ARGUMENTS, GVariant's text)[#OBJECT INTERFACE METHOD]; after a + a person may be asked, after a !
    nobody waits for long."""
    patience = 1500 if operation[0] == '!' else 30000
    operation = operation.lstrip('!')
    flags = Gio.DBusCallFlags.ALLOW_INTERACTIVE_AUTHORIZATION if operation[0] == '+' else Gio.DBusCallFlags.NONE
    text, _, target = operation.lstrip('+').partition('#')
    if not text.startswith('('):
        text = '({%s},)' % ', '.join("'%s': <''>" % key for key in text.split('&'))
    place = target.split() or [OBJECT, INTERFACE, 'Request']
    return bus.call_sync(LABEL, *place, values or variant(text), None, flags, patience)


def perform(bus, operation):
    name, _, argument = operation.partition(':')
    if name == 'own':
        return bus.call_sync('org.freedesktop.DBus', '/', 'org.freedesktop.DBus', 'RequestName',
                             GLib.Variant('(su)', (LABEL, 0)), None, Gio.DBusCallFlags.NONE, -1)
    if name == 'big':
        data = GLib.Variant.new_bytestring(b'x' * (int(argument) << 20))
        return request(bus, 'echo', GLib.Variant('(a{sv})', ({'echo': data},)))
    if name == 'deep':
        return request(bus, "({'echo': %s},)" % ('<{"k": ' * int(argument) + '<1>' + '}>' * int(argument)))
    if name in ('silent', 'files'):  # nobody waits for the answers
        for _ in range(300):
            message = Gio.DBusMessage.new_method_call(LABEL, OBJECT, INTERFACE, 'Request')
            message.set_body(variant("({'%s': <''>},)" % argument))
            if name == 'files':
                message.set_unix_fd_list(Gio.UnixFDList.new_from_array([os.dup(0) for _ in range(16)]))
            message.set_flags(Gio.DBusMessageFlags(1 | 4))  # no reply expected, interactive
            bus.send_message(message, Gio.DBusSendMessageFlags.NONE)
        return bus.flush_sync()
    if name == 'inherit':  # the process ends, and its connection lives on in a child; GDBus would not survive that
        own = dbus.bus.BusConnection('unix:path=/run/dbus/system_bus_socket')
        message = dbus.lowlevel.MethodCallMessage(LABEL, OBJECT, INTERFACE, 'Request')
        message.append({argument: ''}, signature='a{sv}')
        if os.fork():
            os._exit(0)
        print('pause', flush=True)
        sys.stdin.readline()
        try:
            return own.send_message_with_reply_and_block(message, 5)
        except dbus.DBusException as error:
            print(error.get_dbus_name().rsplit('.')[-1], flush=True)
            os._exit(0)
    if name == 'pause':  # until the test has done something
        print('pause', flush=True)
        return sys.stdin.readline()
    return request(bus, operation)


def client(operations):
    bus = Gio.bus_get_sync(Gio.BusType.SYSTEM)
    bus.set_exit_on_close(False)
    for operation in operations:
        try:
            answer = perform(bus, operation)
            print('%(uid)d %(executable)s' % answer.unpack()[0] if operation == 'caller' else 'ok', flush=True)
        except GLib.Error as error:
            name = Gio.DBusError.get_remote_error(error)
            print(name.rsplit('.')[-1] if name else error.message.split()[0], flush=True)


# --- The test.


def run(who, operations, meanwhile=None, program=CALLER, prefix=()):
    """What the caller printed, and the questions that a person was asked."""
    command = [*prefix, program, SCRIPT, 'client', *operations]
    if who in ('root', 'daemon'):
        command = ['setpriv', '--reuid=' + who, '--clear-groups', *command]
    else:
        command = [HERE + '/../../support/system/as-user', *who.split(), *command]
    process = subprocess.Popen(command, stdin=-1, stdout=-1, stderr=-1, text=True)  # -1: pipes
    lines = []
    for line in process.stdout:
        if line == 'pause\n':
            meanwhile(process)
            process.stdin.write('\n')
            process.stdin.flush()
        else:
            lines.append(line.strip())
    process.stdin.close()
    errors = process.stderr.read()
    process.wait()
    return lines, [line for line in errors.splitlines() if line.startswith('agent: org')], errors


def helpers():
    found = []
    for exe in glob.glob('/proc/[0-9]*/exe'):
        try:
            if LABEL in os.readlink(exe):
                found.append(int(exe.split('/')[2]))
        except OSError:
            pass
    return found


def end_helper(_=None):
    for process in helpers():
        os.kill(process, signal.SIGKILL)
    wait_for(lambda: not helpers())
    time.sleep(0.2)  # until the bus has noticed


def wait_for(condition):
    for _ in range(200):
        if condition():
            return
        time.sleep(0.05)
    sys.exit('waited too long')


def reload_bus():
    subprocess.run(['gdbus', 'call', '--system', '-d', 'org.freedesktop.DBus', '-o', '/', '-m',
                    'org.freedesktop.DBus.ReloadConfig'], check=True, stdout=subprocess.DEVNULL)


def replace_caller(_):
    shutil.copy(CALLER, CALLER + '.new')
    os.rename(CALLER + '.new', CALLER)


def take_id(process):
    process.wait()
    while True:  # another process may be faster
        with open('/proc/sys/kernel/ns_last_pid', 'w') as last:
            last.write(str(process.pid - 1))
        if subprocess.Popen([CALLER, '-c', 'import time; time.sleep(2)']).pid == process.pid:
            return


def end(name):
    subprocess.run(['pkill', '-x', name], check=True)
    wait_for(lambda: subprocess.run(['pgrep', '-x', name], stdout=subprocess.DEVNULL).returncode)


def reached():
    with open(REACHED) as file:
        return file.read().split()


failures = []
REFUSED = 'NotAuthorised'
CALLS = "({'echo': <%s>},)"
MASK = ('unshare', '--mount', 'sh', '-c', 'mount --bind %s %s && exec "$@"' % (STRANGER, CALLER), '-')
END = {'meanwhile': end_helper}

# name, caller, requests, outcomes, the number of questions, the handlers that ran (those that were "ok", if not given),
# and other arguments of run()
ROWS = [
    ('asked each time', 'yes', '+each +each', 'ok ok', 2),
    ('asked once in a connection', 'yes', '+once +once +each', 'ok ok ok', 2),
    ('kept for a session', '--session yes', '+kept kept', 'ok ok', 1),
    ('kept, but not for what is asked each time', '--session yes', '+kept undeclared', 'ok ' + REFUSED, 1),
    ('a right that no action declares', 'yes', '+undeclared +undeclared', 'ok ok', 2),
    ('allowed by a rule', 'none', 'allowed', 'ok', 0),
    ('denied by a rule', 'yes', '+denied', REFUSED, 0),
    ('dismissed', 'no', '+each +once +undeclared', ' '.join([REFUSED] * 3), 3),
    ('no agent', 'none', '+each +undeclared', REFUSED + ' ' + REFUSED, 0),
    ('must not ask', 'yes', 'each undeclared once', ' '.join([REFUSED] * 3), 0),
    ('an agent that hangs, and what else goes on', 'hang', '!+each echo', 'Timeout ok', 1),
    ('another user', 'daemon', 'allowed each caller', REFUSED + ' ' + REFUSED + ' 1 ' + CALLER, 0),
    ('root', 'root', 'each undeclared', 'ok ok', 0),
    ('rights are not the caller\'s word', 'none', "({'each':<''>,'right':<'org.example.Helper.allowed'>,'uid':<0>},)",
     REFUSED, 0),
    ('a program that is not a caller', 'yes', '+each echo stop', 'NotACaller NotACaller NotACaller', 0, '',
     {'program': sys.executable}),
    ('a caller replaced while it runs', 'none', 'echo pause echo', 'ok ok NotACaller', 0, 'echo',
     {'meanwhile': replace_caller}),
    ('a caller that a user owns', 'none', 'echo pause echo pause echo', 'ok ok NotACaller ok ok', 0, 'echo echo',
     {'meanwhile': lambda _: os.chown(CALLER, 65534 - os.stat(CALLER).st_uid, 0)}),
    ('a program mounted over a caller', 'root', 'echo', 'NotACaller', 0, '', {'prefix': MASK}),
    ('a connection whose process has ended, and root has its id', 'daemon', 'inherit:echo', 'NotACaller', 0, '',
     {'meanwhile': take_id}),
    ('two keys, none, an unknown one', 'root', 'each&echo|(@a{sv} {},)|unknown', ' '.join(['UnknownRequest'] * 3), 0),
    ('wrong types', 'root', "('a',)|({'echo':'a'},)|({'echo':<1>},{'echo':<1>})|(1,)|({'echo':<(1,2)>},)"
     "|({'echo':<{1:2}>},)|({'echo':<@t 18446744073709551615>},)|({'echo':<@h 5>},)|({'stop':<1>},)"
     "|({'stop':<''>,'a':<1>},)",
     ' '.join(['InvalidArgs'] * 4 + ['Unusable'] * 4 + ['UnknownRequest'] * 2), 0),
    ('large and deep', 'root', 'big:30 deep:19 deep:20', 'ok ok Unusable', 0),
    ('too large: the bus ends the connection', 'root', 'big:33', 'The', 0),
    ('another method, object, interface', 'root', '(1,)#/org/corvane/Helper org.corvane.Helper1 Other'
     '|(@a{sv} {},)#/ org.corvane.Helper1 Request|()#/org/corvane/Helper org.freedesktop.DBus.Introspectable Introspect',
     'UnknownMethod UnknownMethod AccessDenied', 0),
    ('another owner of the name', 'none', 'own', 'AccessDenied', 0),
    ('a handler that throws, and one that floods', 'none', 'throw flood echo', 'Failed Failed ok', 0,
     'throw flood echo'),
    ('a helper that dies during a request, and the next', 'none', 'crash echo', 'NoReply ok', 0, 'crash echo'),
    ('a helper that died before and after', 'none', 'pause echo pause echo', 'ok ok ok ok', 0, 'echo echo', END),
    ('another owner while nobody has the name', 'none', 'pause own', 'ok AccessDenied', 0, '', END),
    ('stopping without the right', 'none', 'stop_as_root', REFUSED, 0),
    ('a request after it has stopped', 'none', 'stop echo', 'ok ok', 0, 'echo'),
    ('a helper that does not answer', 'none', '!hang pause echo', 'Timeout ok ok', 0, 'hang echo', END),
    ('a user who sends descriptors', 'hang', 'files:each echo', 'ok ok', None, 'echo'),
    ('a user who floods, and another one', 'hang', 'silent:each echo pause', 'ok LimitsExceeded ok', None, 'each',
     {'meanwhile': lambda _: row('the other one', 'root', 'each', 'ok', 0)}),
]


def row(name, who, operations, outcomes, asked, ran=None, arguments=None):
    before = len(reached())
    operations = operations.split('|') if '(' in operations else operations.split()
    lines, questions, errors = run(who, operations, **(arguments or {}))
    got, done = ' '.join(lines), reached()[before:]
    if ran is None:
        ran = ' '.join(o.lstrip('!+') for o, line in zip(operations, outcomes.split()) if line == 'ok')
    expected = ['echo' if o[:3] in ('big', 'dee') else o for o in ran.split()]
    wrong = got != outcomes or asked not in (None, len(questions)) or done != expected
    if wrong:
        failures.append(name)
    print('%s %s: %s; asked %d' % ('FAILED' if wrong else 'ok', name, got, len(questions)), flush=True)
    if wrong:
        print('  expected: %s; asked %s; ran %s, not %s\n' % (outcomes, asked, expected, done), errors, flush=True)


def main(helper, files, policy):
    os.makedirs('/usr/local/libexec/corvane/helpers', exist_ok=True)
    os.makedirs('/usr/local/share/dbus-1/system-services', exist_ok=True)
    shutil.copy(helper, '/usr/local/libexec/corvane/helpers/' + LABEL)
    shutil.copy(files + '/%s.service' % LABEL, '/usr/local/share/dbus-1/system-services')
    shutil.copy(files + '/%s.policy' % LABEL, '/usr/share/polkit-1/actions')
    shutil.copy(policy, '/usr/share/polkit-1/actions')
    with open('/etc/polkit-1/rules.d/10-test.rules', 'w') as file:
        file.write(RULES)
    os.environ['PYTHONHOME'] = '/usr'
    shutil.copy(os.path.realpath(sys.executable), CALLER)
    shutil.copy(CALLER, STRANGER)
    shutil.copy(__file__, SCRIPT)
    open(REACHED, 'w').close()

    row('no policy of the bus', 'root', 'echo', 'AccessDenied', 0)
    shutil.copy(files + '/%s.conf' % LABEL, '/etc/dbus-1/system.d')
    reload_bus()
    time.sleep(1.2)  # polkit reads rules within a second
    for each in ROWS:
        row(*each)
    wait_for(lambda: not helpers())
    print('ok the helper ends when nobody needs it')
    end('polkitd')
    row('no polkit', 'daemon', '+each +undeclared allowed echo', ' '.join([REFUSED] * 3 + ['ok']), 0)
    end('dbus-daemon')
    wait_for(lambda: not helpers())
    subprocess.Popen(['dbus-daemon', '--config-file=/usr/share/dbus-1/system.conf', '--nofork', '--nopidfile'])
    time.sleep(0.5)
    row('a new bus', 'root', 'echo', 'ok', 0)
    return bool(failures)


sys.exit(client(sys.argv[2:]) if sys.argv[1] == 'client' else main(*sys.argv[1:]))
