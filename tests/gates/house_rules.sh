#!/usr/bin/env bash
# Rules that no compiler checks: includes point downwards, files stay readable, a layer's secrets stay in the layer.
set -euo pipefail
cd "$(dirname "$0")/../.."

status=0
complain() { echo "house rule: $1"; status=1; }
tracked() { git ls-files -co --exclude-standard -- "$@"; }

# Rooms in leaning order: a file may include headers of its own room and of those before it; records leans on none. proto and scan stand side by
# side, and so do func and frame.
declare -A level=([platform]=0 [Common]=1 [Lib]=2 [records]=2 [config/store]=3 [config/proto]=4 [config/scan]=4 [config/func]=5
    [config/frame]=6)
room_of() {
    case "$1" in
        config/*) echo "$(cut -d/ -f1,2 <<<"$1")" ;;
        *) cut -d/ -f1 <<<"$1" ;;
    esac
}
declare -A home=()
while read -r header; do
    home[$(basename "$header")]=$(room_of "$header")
done < <(tracked 'platform/*.h' 'records/*.h' 'Common/*.h' 'Lib/*.h' 'config/*.h')

while IFS=: read -r file line text; do
    name=$(sed -n 's/.*#include "\(.*\)".*/\1/p' <<<"$text")
    case "$name" in *..*) complain "$file:$line: an include with .. goes round the rooms" ;; esac
    to=${home[$(basename "$name")]:-}
    from=$(room_of "$file")
    [ -n "$to" ] && [ "$to" != "$from" ] || continue
    if [ "$from" = records ] || [ "${level[$to]:-9}" -ge "${level[$from]:-9}" ]; then
        complain "$file:$line: $from must not include $to ($name)"
    fi
done < <(tracked 'platform/*' 'records/*' 'Common/*' 'Lib/*' 'config/*' | grep -E '\.(h|cpp|inc)$' | xargs grep -nH '^ *#include "')

# Above the layer nothing is Linux.
if found=$(tracked 'Common/*' 'Lib/*' 'config/*' | xargs grep -nE '#include <(unistd|fcntl|pthread|dlfcn|signal|lmdb|sys/[a-z]+|linux/[a-z]+)\.h>' 2>/dev/null); then
    complain "system headers above the platform layer:"
    echo "$found"
fi

# The tools and the runtime libraries know nothing of the rooms.
if found=$(tracked 'tools/*' | xargs grep -nE '#include "(ConfigManager|RegistryIO|WdchHelper|WdCommon/)' 2>/dev/null); then
    complain "a tool includes the library's inside:"
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
