#!/bin/bash
# SPDX-License-Identifier: MIT
# Uploads a folder: owner.sh SOURCE HOST[:PORT] [USER], with the password on standard input. Ctrl-C stops the upload.
set -euo pipefail

source=$1 host=$2 user=${3-} password=
[ -z "$user" ] || read -r password
interface=com.telvo.DistributedNotificationCenter
token=$(cat /proc/sys/kernel/random/uuid)
helper=${TELVO_HELPER:-$(command -v TelvoFTPHelper || pkg-config --variable=helper telvo-owner)}

progress="interface='$interface',arg0='TelvoFTPHelperProgressDistributedNotification',arg1='$token'"
coproc monitor { exec dbus-monitor --session "type='signal',$progress"; }
exec {heard}<&"${monitor[0]}"
running=("$monitor_PID")
trap 'kill "${running[@]}" 2>/dev/null || true' EXIT
# Its first line says that it listens.
read -r -u "$heard"

# A shell cannot own a name on the bus, so the helper cannot see it quit: it is told when this script ends.
"$helper" -bundleIdentifier "com.example.Owner.p$$" -notificationIdentifier "$token" -sourcePath "$source" \
  -host "$host" -username "$user" -password "$password" -escapeNames YES -reportOutcomes YES &
running+=($!)

stop() {
  gdbus emit --session --object-path /com/telvo/DistributedNotificationCenter --signal "$interface.Posted" \
    TelvoFTPHelperStopDistributedNotification "$token" '@a{sv} {}'
}
trap stop INT

status=0
declare -A record=()
while IFS= read -r -u "$heard" line; do
  case $line in
    *' variant '*' string "'*) value=${line#*string \"} record[$key]=${value%\"} ;;
    *' variant '*) record[$key]=${line##* } ;;
    *' string "'*) key=${line#*string \"} key=${key%\"} ;;
  esac
  # The end of the notification, by how far it stands to the right.
  [ "$line" = '   ]' ] || continue
  if [ -n "${record[LocalPath]-}" ]; then
    echo "${record[Nth]} of ${record[Total]} ${record[LocalPath]}"
    if [ "${record[Outcome]-}" != sent ]; then
      echo "${record[LocalPath]}: ${record[Error]-not told}" >&2
      status=1
    fi
  fi
  [ "${record[IsMore]-false}" = true ] || break
  record=()
done
exit "$status"
