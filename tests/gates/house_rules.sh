#!/usr/bin/env bash
# Rules that no compiler checks: files stay readable, a layer's secrets stay in the layer.
set -euo pipefail
cd "$(dirname "$0")/../.."

status=0
complain() { echo "house rule: $1"; status=1; }
tracked() { git ls-files -co --exclude-standard -- "$@"; }

# CMake compiles each room with the include paths of those alone that it may use. This would get around it.
if found=$(tracked '*.h' '*.cpp' '*.c' '*.inc' | xargs grep -nE '^ *#include "[^"]*\.\.'); then
    complain "an include with .. gets around the rooms:"
    echo "$found"
fi

# Nothing above the platform layer uses Linux headers.
if found=$(tracked 'Common/*' 'Lib/*' 'config/*' | xargs grep -nE '#include <(unistd|fcntl|pthread|dlfcn|signal|lmdb|sys/[a-z]+|linux/[a-z]+)\.h>' 2>/dev/null); then
    complain "system headers above the platform layer:"
    echo "$found"
fi

# Nor does it ask for which system it is compiled.
if found=$(tracked 'Common/*' 'Lib/*' 'config/*' 'records/*' | xargs grep -nE '\b_WIN32|windows\.h|__linux__' 2>/dev/null); then
    complain "a system's name above the platform layer:"
    echo "$found"
fi

# Comments call a status by its name.
if found=$(tracked 'Common/*' 'Lib/*' 'config/*' 'records/*' 'tools/*' 'tests/*' | grep -E '\.(h|cpp|inc|c)$' |
    xargs grep -nE '(//|/\*).*(^|[^A-Za-z0-9_.("])-[1-9][0-9]?( (for|when|if|without|where|with|as|in)\b|:|,|;)'); then
    complain "a comment has a bare number for a status:"
    echo "$found"
fi

while read -r lines file; do
    [ "$file" = total ] || [ "$lines" -le 600 ] || complain "$file has $lines lines, more than 600"
done < <(tracked '*.cpp' '*.h' '*.sh' | xargs wc -l)

exit $status
