# How Doxygen sees a file. A name of ours that a text writes as code is a link. A header is in the group of its folder;
# its first comment says what the file is about, and so what the class of its name is about. A table that it includes
# stands in it, with a comment for each row. Lines keep their numbers.
function linked(text,    before) {
    while (match(text, /`VKT[A-Za-z]+`/)) {
        before = substr(text, 1, RSTART - 1)
        text = before "<code>" substr(text, RSTART + 1, RLENGTH - 2) "</code>" substr(text, RSTART + RLENGTH)
    }
    return text
}

# "MACRO(name, words)" for each row.
function tableIn(path,    line, row, rows, words) {
    while ((getline line < path) > 0) {
        if (line == "" || line ~ /^\/\//) continue
        row = row line
        if (line !~ /\)$/) continue
        words = row
        sub(/^[^,]*, */, "", words)
        sub(/\)$/, "", words)
        rows = rows "/** " words " */ " row " "
        row = ""
    }
    return rows
}

{ lines[FNR] = $0 }

END {
    if (FILENAME !~ /\.h$/) {
        for (i = 1; i <= FNR; ++i) print linked(lines[i])
        exit
    }
    name = group = FILENAME
    sub(/.*\//, "", name)
    sub(/\.h$/, "", name)
    sub(/.*VKTCoreKit\//, "", group)
    sub(/\/[^\/]*$/, "", group)
    gsub(/\//, "_", group)

    for (pragma = 1; lines[pragma] != "#pragma once"; ++pragma) {
        sub(/^\/\/ ?/, "", lines[pragma])
        if (lines[pragma] == "") isAboutMore = 1
        if (!isAboutMore) about = about lines[pragma] " "
        lines[pragma] = "/// " (pragma == 1 ? "\\file " name ".h \\brief " : "") lines[pragma]
    }
    first = pragma
    last = FNR + 1
    for (i = pragma + 1; i <= FNR; ++i) {
        if (lines[i] ~ /^namespace /) first = i
        if (lines[i] ~ /^}  \/\/ namespace/) last = i
        if (lines[i] == "") comment = 0
        if (lines[i] ~ /^#include .*\.inc"$/) lines[i] = tableIn(substr(lines[i], 11, length(lines[i]) - 11))
        if (lines[i] ~ /^\/\/\// && !comment) comment = i
        if (lines[i] !~ "^(class|struct) ([A-Z_]+ )?" name " .*[^;]$") continue
        if (comment) sub(/^\/\/\/ /, "/// " about, lines[comment])
        else lines[i] = "/** " about "*/ " lines[i]
    }
    lines[first] = lines[first] " /** \\addtogroup " group
    lines[first + 1] = "\\{ */"
    lines[last] = "/** \\} */ " lines[last]

    for (i = 1; i <= last || i <= FNR; ++i) print lines[i] ~ /\/\/\// ? linked(lines[i]) : lines[i]
}
