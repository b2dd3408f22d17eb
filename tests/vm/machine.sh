# machine.sh    is the first process of the virtual machine: makes it a system with udev and users,
# runs the tests, and leaves their status in /results/status.
export PATH=/bin:/sbin:/usr/bin:/usr/sbin
busybox --install -s /bin
. /results/job

stty -onlcr

# An unpacked tree has no users and groups; udev's rules name some of these.
echo 'root:x:0:0:root:/root:/bin/sh' >/etc/passwd
echo 'visitor:x:1000:1000:visitor:/tmp:/bin/sh' >>/etc/passwd
echo 'root:x:0:' >/etc/group
number=10
for group in tty disk kmem dialout cdrom audio video input render sgx kvm lp tape visitor; do
    [ $group = visitor ] && number=1000
    echo "$group:x:$number:" >>/etc/group
    number=$((number + 1))
done

ip link set lo up
/lib/systemd/systemd-udevd --daemon 2>/results/udevd.log
for module in vhci-hcd uvcvideo; do
    modprobe $module || echo "vm: no module $module"
done
udevadm settle --timeout=30
echo "vm: ready after $(cut -d' ' -f1 /proc/uptime) s, kernel $(uname -r)"

set -f
# shellcheck disable=SC2086  # a list of patterns
sh "$project/tests/vm/run.sh" $only
echo $? >/results/status
dmesg >/results/dmesg
sync
reboot -f
