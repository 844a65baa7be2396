#!/usr/bin/env bash
# Builds the library into client/dist: bundles for import and require, declarations, examples.
#
#   clients/build.sh
#
# Takes Debian's esbuild and node-typescript, or what `npm ci` has put into node_modules. The web client has a build
# of its own, in web/.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")"
export PATH=$PATH:$PWD/node_modules/.bin

dist=client/dist
rm -rf "$dist"
mkdir -p "$dist"
Bundle() {
  esbuild "$@" --bundle --target=es2021 --tsconfig=tsconfig.base.json --log-level=warning --charset=utf8
}
for entry in index node; do
  Bundle "client/src/$entry.ts" --platform=neutral --format=esm --external:node:* --outfile="$dist/$entry.js"
  Bundle "client/src/$entry.ts" --platform=node --format=cjs --outfile="$dist/$entry.cjs"
done
for example in client/examples/*.ts; do
  name=$(basename "$example" .ts)
  Bundle "$example" --platform=node --format=cjs --outfile="$dist/examples/$name.cjs"
done
# The declarations of the protocol come along, so that the package stands alone; once for import and once for require,
# which TypeScript tells apart by the package.json above a file. In the first an import names its file.
tsc -p client/tsconfig.json
find "$dist/types" -name '*.d.ts' -exec sed -i -E \
  -e "s#'@vnq/protocol'#'../../protocol/src/index'#" -e "s#(from |import\()'(\.[^']*)'#\1'\2.js'#g" {} +
cp -r "$dist/types" "$dist/types-require"
echo '{ "type": "commonjs" }' >"$dist/types-require/package.json"
echo "built $dist"
