#!/bin/sh
# behind_cable.sh COMMAND...    runs a command at the other end of a virtual cable: in a network of
# its own, in which it is 10.9.0.2. On this side the cable is the interface "cable", with 10.9.0.1.
# The cable disappears when the command ends.
self=$$
mtu=${NUBRIX_CABLE_MTU:-1500}
ip link delete cable 2>&-  # left by a command that has just ended
ip link add cable mtu "$mtu" type veth peer name plug mtu "$mtu" || exit 1
ip address add 10.9.0.1/24 dev cable
ip link set cable up
(
    until [ "$(readlink "/proc/$self/ns/net")" != "$(readlink /proc/self/ns/net)" ]; do
        sleep 0.02
    done
    ip link set plug netns "$self"
) >&2 &
# shellcheck disable=SC2016  # of the inner shell
exec unshare -n sh -c '
    ip link set lo up
    until ip link set plug up 2>&-; do sleep 0.02; done
    ip address add 10.9.0.2/24 broadcast + dev plug
    exec "$@"' - "$@"
