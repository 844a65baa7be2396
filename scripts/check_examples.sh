#!/usr/bin/env bash
# Has Prometheus' own tool read the alert rules, the scrape configuration, and what a running server says, and looks for each
# metric that rules and board name in that.
#
#   scripts/check_examples.sh PROGRAM_FOLDER     where vnq_main_service and vnqctl are
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

programs=$(realpath "${1:?usage: scripts/check_examples.sh PROGRAM_FOLDER}")
folder=$(mktemp -d)
server=
trap '[[ -z "$server" ]] || kill "$server"; rm -rf "$folder"' EXIT

# Debian's package starts a service of its own; only the tool is taken out of it.
if ! promtool=$(command -v promtool); then
  chmod 755 "$folder"
  (cd "$folder" && apt-get download -q prometheus && dpkg-deb -x prometheus_*.deb .) >/dev/null 2>&1
  promtool=$folder/usr/bin/promtool
fi
(cd examples/monitoring && "$promtool" check config prometheus.yml)
python3 -m json.tool examples/monitoring/grafana.json >/dev/null

address="127.$((10 + RANDOM % 200)).$((RANDOM % 254 + 1)).$((RANDOM % 254 + 1))"
"$programs/vnqctl" init --app-path "$folder/app" --language 1033 >/dev/null
sed -i "s/^;port=9464/port=9464/; s/^;bind_address=127.0.0.1/bind_address=$address/" "$folder/app/platform.ini"
"$programs/vnq_main_service" --app-path "$folder/app" --bind "$address" 2>"$folder/log" &
server=$!
for _ in {1..100}; do
  grep -q 'ready on' "$folder/log" && break
  kill -0 "$server" && sleep 0.1
done
python3 - "$address" >"$folder/metrics" <<'END'
import sys, urllib.request
with urllib.request.build_opener(urllib.request.ProxyHandler({})).open(f"http://{sys.argv[1]}:9464/metrics") as answer:
    sys.stdout.buffer.write(answer.read())
END
"$promtool" check metrics <"$folder/metrics"
for name in $(grep -oh '\bvnq_[a-z_]*' examples/monitoring/* | sort -u); do
  grep -q "^# TYPE $name " "$folder/metrics" || { echo "the examples name $name, which the server does not tell" && exit 1; }
done
echo "the examples for a monitoring system are right"
