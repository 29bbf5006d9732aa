#!/usr/bin/env bash
# Installs the independent reader that judges the engine's files into build/readers.
set -euo pipefail
cd "$(dirname "$0")/.."
reader=build/readers
[ -d $reader/node_modules/mdb-reader ] && exit 0
mkdir -p $reader
npm install --silent --no-save --no-audit --no-fund --no-package-lock --prefix $reader mdb-reader@3.2.0
