#!/bin/sh
# own_network.sh COMMAND...    runs a command in a network of its own, in which 127.0.0.1 to
# 127.0.0.4 are addresses of this machine. If that is forbidden, NUBRIX_NO_NETWORK contains the
# reason.
if reason=$(unshare -rn ip link set lo up 2>&1); then
    # shellcheck disable=SC2016  # of the inner shell
    exec unshare -rn sh -c '
        ip link set lo up
        for host in 2 3 4; do ip address add 127.0.0.$host/8 dev lo; done
        exec "$@"' - "$@"
fi
NUBRIX_NO_NETWORK=${reason:-"unshare does not report why"}
export NUBRIX_NO_NETWORK
exec "$@"
