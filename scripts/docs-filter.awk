# How Doxygen sees a file. A name of ours that a text writes as code is a link. A header is in the group of its folder;
# its first comment says what the file is about, and so what the class of its name is about. Lines keep their numbers.
function linked(text,    before) {
    while (match(text, /`VKT[A-Za-z]+`/)) {
        before = substr(text, 1, RSTART - 1)
        text = before "<code>" substr(text, RSTART + 1, RLENGTH - 2) "</code>" substr(text, RSTART + RLENGTH)
    }
    return text
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
    lines[pragma] = "/** \\addtogroup " group
    lines[pragma + 1] = "\\{ */"

    for (i = pragma + 2; i <= FNR; ++i) {
        if (lines[i] ~ /^\/\/\// && lines[i - 1] !~ /^\/\/\//) comment = i
        if (comment && lines[i] ~ "^(class|struct) ([A-Z_]+ )?" name " ")
            sub(/^\/\/\/ /, "/// " about, lines[comment])
        if (lines[i] == "") comment = 0
    }
    for (i = 1; i <= FNR; ++i) print lines[i] ~ /\/\/\// ? linked(lines[i]) : lines[i]
    print "/** \\} */"
}
