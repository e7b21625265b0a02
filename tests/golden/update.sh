#!/usr/bin/env bash
# Rewrites the golden texts of the sample modules from the current library, after
# a deliberate change of the printed form; review the diff before committing.
set -euo pipefail
cd "$(dirname "$0")/../.."
cmake --preset debug >/dev/null
cmake --build --preset debug --target catalog_tests
SXIR_UPDATE_GOLDEN=1 build/debug/tests/catalog_tests --gtest_filter='TestCatalog/Samples.*'
git status --short tests/golden
