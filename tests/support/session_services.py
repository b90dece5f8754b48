"""python3-dbusmock template of the session services that keep a desktop awake, one for each process.

    SESSION_SERVICE=org.gnome.SessionManager /usr/bin/python3 -m dbusmock --session -t session_services.py

The services: org.gnome.SessionManager (as of GNOME, Cinnamon, MATE), org.freedesktop.ScreenSaver and
org.freedesktop.PowerManagement (as of KDE, Xfce). As in the real ones an inhibitor ends with its caller's connection, and
the session manager holds one lock in the login manager, if there is one on the system bus, for all of its inhibitors.

Mock methods: Behave(s) with "hang" (no call is answered), the name of a D-Bus error (Inhibit fails with it), or "";
Held() -> as: "APPLICATION|REASON|FLAGS"; Register(u cookie, u pid): the process of an inhibitor's application becomes known.
"""
import os

import dbus
from dbusmock import MOCK_IFACE, mockobject

BUS_NAME = os.environ['SESSION_SERVICE']
IS_GNOME = BUS_NAME == 'org.gnome.SessionManager'
MAIN_OBJ = '/' + BUS_NAME.replace('.', '/') + ('/Inhibit' if BUS_NAME.endswith('PowerManagement') else '')
MAIN_IFACE = BUS_NAME + ('.Inhibit' if BUS_NAME.endswith('PowerManagement') else '')
SYSTEM_BUS = False
LOGIN = 'org.freedesktop.login1'
held, clients = {}, {}


def load(mock, _parameters):
    mock.behaviour, mock.last, mock.lock = '', 0, None


def lock(mock):
    """The session manager's lock."""
    flags = 0
    for _, _, each in held.values():
        flags |= each
    what = ':'.join(action for bit, action in ((4, 'sleep'), (8, 'idle')) if flags & bit)
    mock.lock = None
    try:
        if IS_GNOME and what:
            login = dbus.Interface(dbus.SystemBus().get_object(LOGIN, '/org/freedesktop/login1'), LOGIN + '.Manager')
            mock.lock = login.Inhibit(what, 'user', 'user session inhibited', 'block')
    except dbus.DBusException:
        pass


def drop(mock, cookie):
    if held.pop(cookie, None):
        if IS_GNOME:
            mock.RemoveObject(f'{MAIN_OBJ}/Inhibitor{cookie}')
        lock(mock)


def take(mock, sender, done, failed, who, why, flags=0):
    if mock.behaviour == 'hang':
        return
    if mock.behaviour:
        failed(dbus.DBusException('It does not want to', name=mock.behaviour))
        return
    mock.last += 1
    cookie = mock.last
    held[cookie] = (str(who), str(why), int(flags))
    if IS_GNOME:
        gone = 'raise dbus.exceptions.DBusException("no client", name="org.gnome.SessionManager.GeneralError")'
        mock.AddObject(f'{MAIN_OBJ}/Inhibitor{cookie}', BUS_NAME + '.Inhibitor', {}, [
            ('GetAppId', '', 's', f'ret = {str(who)!r}'), ('GetReason', '', 's', f'ret = {str(why)!r}'),
            ('GetFlags', '', 'u', f'ret = dbus.UInt32({int(flags)})'), ('GetClientId', '', 'o', gone)])
    lock(mock)
    mock.connection.watch_name_owner(sender, lambda owner: owner or drop(mock, cookie))
    done(dbus.UInt32(cookie))


asynchronous = {'sender_keyword': 'sender', 'async_callbacks': ('done', 'failed')}
if IS_GNOME:
    @dbus.service.method(MAIN_IFACE, in_signature='susu', out_signature='u', **asynchronous)
    def Inhibit(self, who, _window, why, flags, sender=None, done=None, failed=None):
        take(self, sender, done, failed, who, why, flags)
else:
    @dbus.service.method(MAIN_IFACE, in_signature='ss', out_signature='u', **asynchronous)
    def Inhibit(self, who, why, sender=None, done=None, failed=None):
        take(self, sender, done, failed, who, why)


def release(self, cookie):
    drop(self, int(cookie))


release.__name__ = 'Uninhibit' if IS_GNOME else 'UnInhibit'
globals()[release.__name__] = dbus.service.method(MAIN_IFACE, in_signature='u')(release)


@dbus.service.method(MAIN_IFACE, out_signature='ao', async_callbacks=('done', 'failed'))
def GetInhibitors(self, done=None, failed=None):
    if self.behaviour != 'hang':
        done(dbus.Array([f'{MAIN_OBJ}/Inhibitor{cookie}' for cookie in held], signature='o'))


@dbus.service.method(MOCK_IFACE, in_signature='s')
def Behave(self, behaviour):
    self.behaviour = str(behaviour)


@dbus.service.method(MOCK_IFACE, out_signature='as')
def Held(_):
    return dbus.Array(['|'.join(map(str, each)) for each in held.values()], signature='s')


@dbus.service.method(MOCK_IFACE, in_signature='uu')
def Register(self, cookie, pid):
    client = f'{MAIN_OBJ}/Client{cookie}'
    self.AddObject(client, BUS_NAME + '.Client', {}, [('GetUnixProcessId', '', 'u', f'ret = dbus.UInt32({pid})')])
    mockobject.objects[f'{MAIN_OBJ}/Inhibitor{cookie}'].AddMethod(BUS_NAME + '.Inhibitor', 'GetClientId', '', 'o', f'ret = {client!r}')
