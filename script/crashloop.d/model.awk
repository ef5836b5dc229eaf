# What the numbers of a crash test may be after a boot. Reads, in this order,
#   found          DATABASE NUMBER..., what each holds: one number, unless a change is there in part
#   saved          DATABASE NUMBER, what was reported as saved
#   attempted      DATABASE NUMBER [together], what was written; together: in one transaction
#   acknowledged   DATABASE NUMBER, what the writer was told of
# and prints the first thing that is wrong. Numbers grow with time, so the state of the gateway is that after the
# highest number found: whoever was told of a change before it must find that change. A transaction that nobody was
# told of may be in the databases up to any one of them. Writes attempted.new and acknowledged.new, without what
# lies after the state, for that is undone, and what is older than the last save.
#   least     saved or acknowledged: how old numbers may be
#   damaged   the database, if any, that was restored alone: it is older than the others
FILENAME == "found" {
    found[$1] = $2
    known[$1] = $2 == 0
    if (NF > 2)
        complain($1 " holds a change in part: rows have " $2 ", others " $3)
    if ($1 != damaged && $2 > state)
        state = $2
    next
}
FILENAME == "saved" { saved[$1] = $2 }
FILENAME == "attempted" {
    if ($2 == found[$1])
        known[$1] = 1
    if ($2 < saved[$1] || $2 > state)
        next
    if (damaged != "" && $2 > found[damaged])
        $3 = ""
    if ($3 != "" && $2 > found[$1])
        without[$2] = $1
    else if ($3 != "" && $2 == found[$1] && $2 in without)
        complain($1 " has " $2 ", " without[$2] " has not")
    print > "attempted.new"
}
FILENAME == "acknowledged" {
    acknowledged[$1] = $2
    if ($2 < saved[$1] || $2 > ($1 == damaged ? found[$1] : state))
        next
    if ($2 > found[$1])
        complain($1 " holds " found[$1] " and not " $2 ", another database has the later " state)
    print > "acknowledged.new"
}
function complain(text) {
    if (!complaints++)
        print text
}
END {
    for (name in found) {
        number = least == "saved" || name == damaged ? saved[name] : acknowledged[name]
        if (!known[name])
            complain(name " holds " found[name] ", which was never written")
        if (found[name] < number)
            complain(name " holds " found[name] "; " number " was " least)
        print name, found[name] > "acknowledged.new"
    }
}
