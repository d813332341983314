#!/usr/bin/env bash
# A private PostgreSQL server for kelptest: scripts/server.sh start|stop|status [PORT]
# It listens on the loopback only, on port 8200 unless another is given, and knows one login, tov
# with the password riverbank, which owns the database tov: what kelptest uses without options. The
# data are in build/server, or in KELPTEST_SERVER_DIR, and stay there when it stops. PostgreSQL
# refuses to run as root: started by root, it runs as the user postgres or nobody.
set -euo pipefail
. "$(dirname "$0")/common.sh"

usage="usage: $0 start|stop|status [PORT]"
port=${2:-8200}

find_user() {
  [ "$(id -u)" -eq 0 ] || return 0
  local name
  for name in postgres nobody; do
    if id "$name" >/dev/null 2>&1; then
      server_user=$name
      return
    fi
  done
  fail "neither a user postgres nor a user nobody to run the server as"
}

# Runs a command as the server's user, in a folder that this user can be in.
as_server() (
  cd /
  if [ -z "$server_user" ]; then
    "$@"
  else
    setpriv --reuid "$server_user" --regid "$(id -g "$server_user")" --init-groups \
      env HOME=/nonexistent "$@"
  fi
)

# A repository that the server's user cannot enter has its server below /var/tmp.
find_folder() {
  folder=${KELPTEST_SERVER_DIR:-$root/build/server}
  [[ $folder == /* ]] || folder=$PWD/$folder
  [ -d "$folder" ] || mkdir -p "$(dirname "$folder")"
  if ! as_server test -x "$(dirname "$folder")"; then
    [ -z "${KELPTEST_SERVER_DIR:-}" ] || fail "user $server_user cannot reach $folder"
    folder=/var/tmp/kelptest-server-$(cksum <<<"$root" | cut -d ' ' -f 1)
  fi
  [ ! -e "$folder" ] || { [ ! -L "$folder" ] && as_server test -O "$folder"; } ||
    fail "$folder does not belong to the user of the server, ${server_user:-$(id -un)}"
  data=$folder/data
}

# Where the programs are: of the version that made the data, or else of the newest one.
programs_folder() {
  local version folder
  version=$(as_server cat "$data/PG_VERSION" 2>/dev/null || true)
  folder=$(compgen -G "/usr/lib/postgresql/${version:-*}/bin" | sort -V | tail -n 1 || true)
  [ -x "$folder/pg_ctl" ] || folder=$(pg_config --bindir 2>/dev/null || true)
  [ ! -x "$folder/pg_ctl" ] || echo "$folder"
}

find_programs() {
  programs=$(programs_folder)
  if [ -z "$programs" ] && [ "$1" = start ]; then
    need_packages postgresql
    programs=$(programs_folder)
  fi
  [ -n "$programs" ] || fail "PostgreSQL is not installed, or not in the version that made $data"
}

running() { as_server "$programs/pg_ctl" -D "$data" status >/dev/null 2>&1; }

# The fourth line of this file is the port.
running_port() { as_server sed -n 4p "$data/postmaster.pid"; }

# Makes the cluster beside its final place, so that an interrupted attempt leaves none behind. Only
# tov can log in; what a superuser has to do is done here, without a connection.
create() {
  local new=$folder/new errors
  as_server rm -rf "$new"
  errors=$(as_server "$programs/initdb" -D "$new" -U postgres --no-locale -E UTF8 \
    2>&1 >/dev/null) || fail "$(grep -m 1 error <<<"$errors" || echo "initdb failed")"
  as_server tee "$new/pg_hba.conf" >/dev/null <<<"host tov tov 127.0.0.1/32 scram-sha-256"
  as_server tee -a "$new/postgresql.conf" >/dev/null <<'END'
listen_addresses = '127.0.0.1'
unix_socket_directories = ''
password_encryption = 'scram-sha-256'
END
  as_server "$programs/postgres" --single -D "$new" -c log_min_messages=fatal postgres >/dev/null \
    <<<$'CREATE ROLE tov LOGIN PASSWORD \'riverbank\'\nCREATE DATABASE tov OWNER tov'
  as_server mv "$new" "$data"
}

start() {
  if running; then
    [ "$(running_port)" = "$port" ] || fail "it is running already, on port $(running_port)"
    return
  fi
  if (: <>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then
    fail "port $port is taken by another program"
  fi
  [ -d "$folder" ] || install -d -m 0700 ${server_user:+-o "$server_user"} "$folder"
  [ -d "$data" ] || create
  as_server "$programs/pg_ctl" -D "$data" -l "$folder/log" -o "-p $port" -w start >/dev/null 2>&1 ||
    fail "the server does not start; see $folder/log"
}

if [ $# -lt 1 ] || [ $# -gt 2 ]; then fail "$usage"; fi
if ! [[ $port =~ ^[1-9][0-9]{0,4}$ ]] || [ "$port" -gt 65535 ]; then fail "no port: $port"; fi
server_user=
find_user
find_folder
find_programs "$1"
case $1 in
  start) start ;;
  stop) ! running || as_server "$programs/pg_ctl" -D "$data" -m fast -w stop >/dev/null ;;
  status) ;;
  *) fail "$usage" ;;
esac
if running; then
  echo "running on 127.0.0.1:$(running_port), data in $data"
else
  echo "not running, data in $data"
  [ "$1" = stop ] || exit 3
fi
