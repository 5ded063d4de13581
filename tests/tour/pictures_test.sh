#!/bin/bash
# The pictures that the documents show are those that there are, each in both sizes.
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/../.."
diff <(grep -rohE --include='*.md' --include='*.metainfo.xml*' 'pictures/[a-z-]+\.png' . --exclude-dir=build |
           sed -E 's|.*/(.*)\.png|\1.png\n\1@2x.png|' | sort -u) \
    <(cd docs/pictures && printf '%s\n' * | sort)
