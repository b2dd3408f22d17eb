#!/bin/sh
# apt-update.sh    fetches apt's lists, as root or with sudo. While another apt holds their lock it
# waits, for up to five minutes: apt-get itself waits for the lock of installations only.
set -eu
as_root=
[ "$(id -u)" -eq 0 ] || as_root=sudo

end=$(($(date +%s) + 300))
until output=$($as_root env LC_ALL=C apt-get update -qq 2>&1); do
    case $output in
    *"Could not get lock"*) [ "$(date +%s)" -lt "$end" ] && sleep 1 && continue ;;
    esac
    echo "$output" >&2
    exit 1
done
