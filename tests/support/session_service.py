"""A service of the desktop session that keeps it awake, on the session bus; its name is the argument.

org.gnome.SessionManager (as of GNOME, Cinnamon, MATE), or org.freedesktop.ScreenSaver or org.freedesktop.PowerManagement (as
of KDE, Xfce). As in the real ones an inhibitor ends with its caller's connection, and the session manager has one lock in the
login manager, if there is one, for all of its inhibitors. It knows their processes only if the application is named by
a number. For tests: Behave(s) with "hang" (no call is answered), the name of an error (Inhibit fails with it), or "";
Held() -> as: "APPLICATION|REASON|FLAGS".
"""
import sys

import dbus
import dbus.lowlevel
import dbus.mainloop.glib
from gi.repository import GLib

LOGIN = 'org.freedesktop.login1'
name = sys.argv[1]
bus = dbus.SessionBus(mainloop=dbus.mainloop.glib.DBusGMainLoop())
held, locks, behaviour = {}, [], ''


def changed():
    locks.clear()
    if name == 'org.gnome.SessionManager' and held and dbus.SystemBus().name_has_owner(LOGIN):
        locks.append(dbus.SystemBus().call_blocking(LOGIN, '/org/freedesktop/login1', LOGIN + '.Manager', 'Inhibit', 'ssss',
                                                    ('sleep:idle', 'user', 'user session inhibited', 'block')))


def drop(cookie):
    held.pop(cookie, None)
    changed()


def inhibit(sender, who, why, flags):
    cookie = max(held, default=0) + 1
    held[cookie] = (str(who), str(why), int(flags))
    changed()
    bus.watch_name_owner(sender, lambda owner: owner or drop(cookie))
    return cookie


def answer(call):
    """The signature and the value, if any, of the answer."""
    global behaviour
    method, path, values = call.get_member(), call.get_path(), call.get_args_list()
    who, why, flags = held.get(int(path.rpartition('/')[2]) if path[-1].isdigit() else 0, ('', '', 0))
    if method == 'Behave':
        behaviour = values[0]
        return ()
    if method in ('Uninhibit', 'UnInhibit'):
        return drop(int(values[0])) or ()
    return {'Held': lambda: ('as', ['|'.join(map(str, each)) for each in held.values()]),
            'Inhibit': lambda: ('u', inhibit(call.get_sender(), values[0], values[-2 if len(values) == 4 else 1],
                                             values[-1] if len(values) == 4 else 0)),
            'GetInhibitors': lambda: ('ao', [f'/inhibitors/{cookie}' for cookie in held]),
            'GetAppId': lambda: ('s', who), 'GetReason': lambda: ('s', why), 'GetFlags': lambda: ('u', flags),
            'GetClientId': lambda: ('o', path) if who.isdigit() else None, 'GetUnixProcessId': lambda: ('u', int(who))}[method]()


def receive(_, call):
    if not isinstance(call, dbus.lowlevel.MethodCallMessage):
        return dbus.lowlevel.HANDLER_RESULT_NOT_YET_HANDLED
    if behaviour != 'hang' or call.get_member() in ('Behave', 'Held'):
        refused = behaviour if call.get_member() == 'Inhibit' else ''
        found = None if refused else answer(call)
        reply = dbus.lowlevel.ErrorMessage(call, refused or name + '.Error', 'It does not want to') if found is None \
            else dbus.lowlevel.MethodReturnMessage(call)
        if found:
            reply.append(found[1], signature=found[0])
        bus.send_message(reply)
    return dbus.lowlevel.HANDLER_RESULT_HANDLED


bus.add_message_filter(receive)
bus.request_name(name)
GLib.MainLoop().run()
