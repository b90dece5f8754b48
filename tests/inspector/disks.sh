#!/bin/bash
# Mounts and unmounts real disks through the real udisksd, with the program whose path is given. In a private-system.
support=$(dirname "$(readlink -f "$0")")/../support/system
# The user nobody may not be able to enter the build folder.
mkdir /run/build "$PRIVATE_SYSTEM/home" && mount --bind "$(dirname "$1")/.." /run/build
inspector=/run/build/bin/${1##*/}
. "$support/../expect.sh"
export LD_LIBRARY_PATH=/run/build/lib LC_ALL=C.UTF-8 HOME=$PRIVATE_SYSTEM/home

# What of a disk is mounted, in brackets.
mounted() { echo "[$(findmnt --noheadings --raw --output SOURCE,OPTIONS | grep -o "^/dev/$1[p0-9]* r[ow]" | sort | paste -sd ' ')]"; }
holding() { (cd "$1" && exec sleep 100) & sleep 0.2; }  # keeps a folder busy
released() { kill %% && wait %% 2>/dev/null; }
ended() { sleep "${3:-0}" && kill -"$2" "$(pidof "$1")"; }
# meanwhile COMMAND…: what a user gets who is asked for a password, while the command runs then.
meanwhile() {
  : >"$PRIVATE_SYSTEM/asked"
  "$support/as-user" hang "$inspector" mount "${gpt}p2" >>"$PRIVATE_SYSTEM/asked" 2>&1 &
  local asking=$! status=0
  until grep -q "agent: org" "$PRIVATE_SYSTEM/asked"; do sleep 0.05; done
  "$@"
  wait $asking || status=$?
  cat "$PRIVATE_SYSTEM/asked"
  return $status
}

gpt=$("$support/loopdisk" make gpt) mbr=$("$support/loopdisk" make mbr)
luks=$("$support/loopdisk" make luks) raw=$("$support/loopdisk" make raw)
mkfs.ext4 -q -L MORE "/dev/${gpt}p5" && udevadm trigger --settle --action=change "/dev/${gpt}p5"
blockdev --setro "/dev/${mbr}p1"

# A volume.
expect 0 "Mounted /dev/${gpt}p2 at /media/root/DATA" "$inspector" mount "${gpt}p2"
expect 0 '"name":"'"${gpt}p2"'","above":"'"$gpt"'","size_bytes":67108864,"type":"Linux Filesystem",*"file_system":"ext4","label":"DATA","writable":true,*"mount_points":\["/media/root/DATA"\]}' "$inspector" disks --json
expect 0 "├─${gpt}p2 " "$inspector" disks
expect 1 "Cannot mount device: /dev/${gpt}p2: *already mounted" "$inspector" mount "${gpt}p2"
localedef -i en_US -f UTF-8 "$HOME/en_US.UTF-8"
expect 1 "Gerät kann nicht eingehängt werden: /dev/${gpt}p2" env LOCPATH="$HOME" LC_ALL=en_US.UTF-8 LANGUAGE=de "$inspector" mount "${gpt}p2"
holding /media/root/DATA
expect 1 "Cannot unmount device: /dev/${gpt}p2: *busy" "$inspector" unmount "${gpt}p2"
expect 0 "Unmounted /dev/${gpt}p2" "$inspector" unmount --force "/dev/${gpt}p2"
released
expect 1 "Cannot unmount device: /dev/${gpt}p2: *not mounted" "$inspector" unmount "${gpt}p2"
expect 0 "Mounted /dev/${mbr}p1 at /media/root/MBRDATA" "$inspector" mount "${mbr}p1"
expect 0 "\[/dev/${mbr}p1 ro\]" mounted "$mbr"
for name in "${gpt}p3" "$gpt" "${gpt}p6"; do expect 1 "No file system on /dev/$name" "$inspector" mount "$name"; done
for name in nosuch ../etc/passwd "$PWD" $'\xff'; do expect 1 "There is no device /dev/" "$inspector" mount "$name"; done

expect 1 "The name of the device is too long" "$inspector" mount "$(printf %5000s)"

# Whole disks.
for _ in 1 2; do expect 0 "/dev/${gpt}p2 at /media/root/DATA, /dev/${gpt}p5 at /media/root/MORE" "$inspector" mount --whole "$gpt"; done
expect 0 "\[/dev/${gpt}p2 rw /dev/${gpt}p5 rw\]" mounted "$gpt"
holding /media/root/MORE
expect 1 "Cannot unmount device: /dev/$gpt: *${gpt}p5: target is busy" "$inspector" unmount --whole "$gpt"
expect 0 "\[/dev/${gpt}p5 rw\]" mounted "$gpt"
released
for _ in 1 2; do expect 0 "Unmounted /dev/${gpt}p3" "$inspector" unmount --whole "${gpt}p3"; done
expect 0 "\[\]" mounted "$gpt"
for whole in "" --whole; do
  expect 0 "Mounted /dev/$raw at /media/root/WHOLE" "$inspector" mount $whole "$raw"
  expect 0 "Unmounted /dev/$raw" "$inspector" unmount $whole "$raw"
done
expect 1 "Cannot mount device: /dev/$luks: /dev/${luks}p1 is encrypted and locked" "$inspector" mount --whole "$luks"
expect 1 "/dev/${luks}p1 is encrypted and locked" "$inspector" mount "${luks}p1"

# Who may.
expect 1 "Not authorized" "$support/as-user" none "$inspector" mount "${gpt}p2"
expect 1 "dismissed" "$support/as-user" no "$inspector" mount "${gpt}p2"
expect 0 "agent: *Mounted /dev/${gpt}p2 at /media/nobody/DATA" "$support/as-user" yes "$inspector" mount "${gpt}p2"
"$inspector" unmount "${gpt}p2" >/dev/null
"$support/as-user" no "$inspector" mount --whole "$gpt" >"$PRIVATE_SYSTEM/asked" 2>&1
expect 0 1 grep -c "agent: org" "$PRIVATE_SYSTEM/asked"

# A medium that is pulled out.
expect 0 "" "$inspector" mount "$raw"
truncate -s 0 "$PRIVATE_SYSTEM"/raw.* && losetup --set-capacity "/dev/$raw"
until [ "$(mounted "$raw")" = "[]" ]; do sleep 0.1; done  # udisksd has noticed
expect 1 "" grep "$raw " <("$inspector" disks)
expect 1 "Cannot unmount device: /dev/$raw: No file system" "$inspector" unmount "$raw"

# Services that go away or hang.
expect 1 "No system bus" env DBUS_SYSTEM_BUS_ADDRESS=unix:path=/nonexistent "$inspector" mount "$raw"
expect 1 "Cannot mount device: /dev/${gpt}p2: Message recipient disconnected" meanwhile ended udisksd KILL 6
expect 1 "UDisks2" "$inspector" mount "${gpt}p2"

# Unlocked partitions, from a service that takes the place of the one that was killed.
/usr/bin/python3 -m dbusmock --template "${0%/*}/unlocked_disks.py" --logfile /dev/null >"$PRIVATE_SYSTEM/requests" &
gdbus wait --system --timeout 10 org.freedesktop.UDisks2
expect 0 "" "$inspector" mount --whole sdx
expect 0 "" "$inspector" unmount --whole --force sdy
expect 1 "No file system on /dev/sdx2" "$inspector" mount sdx2
expect 0 "Mount sdx1;Mount dmx;Mount sdx3;Unmount dmy force;Unmount dmy force;Unmount sdy1 force" paste -sd ";" "$PRIVATE_SYSTEM/requests"
released

/usr/libexec/udisks2/udisksd >/dev/null 2>&1 & gdbus wait --system --timeout 10 org.freedesktop.UDisks2
ended udisksd STOP
expect 1 "no answer in time" "$inspector" mount "${gpt}p2"
ended udisksd CONT
expect 1 "Cannot mount device: /dev/${gpt}p2: " meanwhile ended dbus-daemon KILL
exit $failed
