# Sums up the linker's map of a program: a line "BYTES PART" for each part of its file. A part is a function or datum of
# what was optimised when it was linked, and a member of an archive otherwise; <internal> is texts that were merged.
function number(hexadecimal, i, value) {
    for (i = 1; i <= length(hexadecimal); ++i) {
        value = value * 16 + index("0123456789abcdef", substr(hexadecimal, i, 1)) - 1
    }
    return value
}

NF == 5 && $5 ~ /^\./ {
    in_file = $5 !~ /^\.t?bss/
    next
}

in_file && NF == 5 && $5 ~ /:\(\.[^ ]*\)$/ {
    part = section = $5
    sub(/:\(.*/, "", part)
    sub(/.*\//, "", part)
    sub(/.*:\(/, "", section)
    sub(/\)$/, "", part)
    sub(/\)$/, "", section)
    if (part == "lto.tmp" && section ~ /^\.(text|rodata|data|data\.rel\.ro|gcc_except_table)\./) {
        part = section
        sub(/^\.(text|rodata|data\.rel\.ro|data|gcc_except_table)\./, "", part)
        sub(/(\.llvm)?\.[0-9]+$/, "", part)
    } else if (section ~ /^\.eh_frame/) {
        part = "<unwinding>"
    }
    bytes[part] += number($3)
}

END {
    for (part in bytes) {
        printf "%d %s\n", bytes[part], part
    }
}
