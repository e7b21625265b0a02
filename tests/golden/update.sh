#!/usr/bin/env bash
# Rewrites the golden texts of the sample modules, and their emitted C, from the
# current library, after a deliberate change of the printed form or of the C back
# end; review the diff before committing.
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake --preset debug >/dev/null
cmake --build --preset debug --target catalog_tests emitter_tests
SXIR_UPDATE_GOLDEN=1 build/debug/tests/catalog_tests --gtest_filter='TestCatalog/Samples.*'
SXIR_UPDATE_GOLDEN=1 build/debug/tests/emitter_tests --gtest_filter='CEmitter/EmittedSamples.*'
git status --short tests/golden
