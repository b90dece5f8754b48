"""A template for python3-dbusmock: UDisks2 with disks that the kernels of test machines may lack.

The second partitions of sdx, of which nothing is mounted, and of sdy are encrypted and unlocked. Each request is printed.
"""
import dbus
from dbusmock import mockobject

BUS_NAME = 'org.freedesktop.UDisks2'
MAIN_OBJ = '/org/freedesktop/UDisks2'
MAIN_IFACE = 'org.freedesktop.DBus.ObjectManager'
IS_OBJECT_MANAGER = SYSTEM_BUS = True
PLACE = MAIN_OBJ + '/block_devices/'
FILE_SYSTEM = BUS_NAME + '.Filesystem'
DEVICES = (  # name, disk, offset, what it shows decrypted, number of mount points or None without a file system
    ('dmx', '', 0, 'sdx2', 0), ('sdx3', 'sdx', 3, '', 0), ('sdx2', 'sdx', 2, '', None), ('sdx1', 'sdx', 1, '', 0),
    ('sdx', '', 0, '', None), ('sdy', '', 0, '', None), ('sdy2', 'sdy', 2, '', None), ('sdy1', 'sdy', 1, '', 1),
    ('dmy', '', 0, 'sdy2', 2))


def load(mock, parameters):
    mock.AddObject(MAIN_OBJ + '/Manager', BUS_NAME + '.Manager', {}, [
        ('ResolveDevice', 'a{sv}a{sv}', 'ao', f'ret = [args[0]["path"].replace("/dev/", "{PLACE}")]')])
    for name, disk, offset, encrypted, mounts in DEVICES:
        mock.AddObject(PLACE + name, BUS_NAME + '.Block', {
            'Device': dbus.ByteArray(f'/dev/{name}\0'.encode()),
            'CryptoBackingDevice': dbus.ObjectPath(PLACE + encrypted if encrypted else '/')}, [])
        device = mockobject.objects[PLACE + name]
        if disk:
            device.props[BUS_NAME + '.Partition'] = {'Table': dbus.ObjectPath(PLACE + disk), 'Offset': dbus.UInt64(offset)}
        if mounts is not None:
            device.props[FILE_SYSTEM] = {'MountPoints': dbus.Array([dbus.ByteArray(b'/x\0')] * mounts, signature='ay')}
            device.AddMethods(FILE_SYSTEM, [
                (verb, 'a{sv}', result, f'print("{verb}", "{name}", *args[0], flush=True); ret = {value}')
                for verb, result, value in (('Mount', 's', '""'), ('Unmount', '', None))])
