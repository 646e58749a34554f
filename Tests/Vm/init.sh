#!/bin/busybox sh
# First process of the tests' virtual machine. Loads the modules that the image lists, then runs the
# commands that come over the second serial port, one after the other.
#
# A command is a line with its text in base64. Its answer is one JSON text, framed by a record
# separator in front and a line end after it; what the command wrote stands in it as base64. The
# kernel's messages go to the first serial port.
/bin/busybox --install -s /bin
export PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin
export HOME=/root LANG=C.UTF-8 LC_ALL=C.UTF-8 TZ=UTC

mount -t proc proc /proc
mount -t sysfs sysfs /sys
mount -t devtmpfs devtmpfs /dev
mkdir -p /dev/shm /dev/pts
mount -t tmpfs tmpfs /tmp
mount -t tmpfs tmpfs /run
chmod 1777 /tmp

while read -r module; do
  insmod "$module" || echo "init: cannot load $module"
done </etc/vm-modules

encoded() { base64 "$1" | tr -d '\n'; }

stty -F /dev/ttyS1 raw -echo 115200
exec 3<>/dev/ttyS1
printf '\036{"ready":true}\n' >&3
# Not in the first process: it is told when processes that others left behind end, and a shell's read
# that is interrupted in the middle of a line begins again behind what it has taken.
while read -r line <&3; do
  echo "$line" | base64 -d >/run/command
  sh /run/command </dev/null >/run/stdout 2>/run/stderr 3>&-
  status=$?
  printf '\036{"exitStatus":%d,"stdout":"%s","stderr":"%s"}\n' \
    "$status" "$(encoded /run/stdout)" "$(encoded /run/stderr)" >&3
done &
wait $!
poweroff -f
