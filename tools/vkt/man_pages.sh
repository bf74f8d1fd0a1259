#!/usr/bin/env bash
# man_pages.sh TOOL VERSION FOLDER: writes vkt.1.gz and vkt-COMMAND.1.gz for each command into the folder, from what
# TOOL --help and TOOL COMMAND --help say. TOOL may begin with the emulator that runs it. Needs help2man.
set -euo pipefail
[[ $# -eq 3 ]] || { echo "usage: $0 TOOL VERSION FOLDER" >&2 && exit 2; }
tool=$1 version=$2 folder=$3

# The commands and what each does on one line, from the list of --help.
commands=$($tool --help | awk '
    /^Commands:$/ { inside = 1; next }
    !inside { next }
    /^  [a-z]/ { printf "%s%s", separator, $0; separator = "\n"; next }
    /^    / { $1 = $1; printf " %s", $0; next }
    { exit }
    END { print "" }')
[[ -n $commands ]] || { echo "$0: $tool --help lists no commands" >&2 && exit 1; }
mapfile -t names < <(awk '{ print $1 }' <<<"$commands")

# page NAME SUMMARY CALL: one page; what help2man makes subsections of are sections, and the others are pointed to.
page() {
    local name=$1 summary=$2 call=$3 other others=()
    for other in vkt "${names[@]/#/vkt-}"; do
        [[ $other == "$name" ]] || others+=(".BR $other (1)")
    done
    help2man --no-info --section=1 --name="$summary" --version-string="$version" "$call" |
        sed -E -e "s/^\.TH [^ ]+ (.*)\"[^\"]*\" (\"[^\"]*\")\$/.TH ${name^^} \1\"vkt $version\" \2/" \
            -e "/^\.SH NAME/{n;s/^.* \\\\- /$name \\\\- /}" \
            -e 's/^\.SS "(.*):"$/.SH \U\1/' >"$folder/$name.1"
    {
        echo '.SH "SEE ALSO"'
        (IFS=$'\n' && echo "${others[*]}" | sed '$!s/$/,/')
    } >>"$folder/$name.1"
    gzip -9nf "$folder/$name.1"
}

mkdir -p "$folder"
page vkt "read, resolve, play and serve VAST documents" "$tool"
while read -r name summary; do
    page "vkt-$name" "${summary,}" "$tool $name"
done <<<"$commands"
