#!/usr/bin/env bash
# uPlot, the charting library built into report.html, is pinned in
# package.json and package-lock.json here. The build embeds the copy kept in
# vendor/uplot, so that `make demo` needs no npm; this script installs the
# pinned package with `npm ci` and renews that copy (no argument) or checks
# that it is byte for byte the package's (--check, as CI runs it).
set -euo pipefail
cd "$(dirname "$0")"
npm ci --no-audit --no-fund --ignore-scripts >/dev/null
files=(dist/uPlot.iife.min.js dist/uPlot.min.css LICENSE)
status=0
for f in "${files[@]}"; do
  src="node_modules/uplot/$f"
  dst="vendor/uplot/$(basename "$f")"
  if [ "${1:-}" = "--check" ]; then
    if ! cmp -s "$src" "$dst"; then
      echo "vendor-uplot: $dst differs from the pinned npm package (run tools/player/report/vendor-uplot.sh)" >&2
      status=1
    fi
  else
    mkdir -p vendor/uplot
    cp "$src" "$dst"
  fi
done
version=$(node -p "require('./node_modules/uplot/package.json').version")
[ "$status" -eq 0 ] && echo "vendor-uplot: vendor/uplot is uPlot $version from npm"
exit "$status"
