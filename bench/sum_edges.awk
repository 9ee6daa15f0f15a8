# The sums that a user without a tool for them might make: hits of each edge and of each call.
# The columns stand where make_edges.py puts them.
BEGIN { FS = "," }
NR > 1 && $9 == $17 { edges[$4 "," $9 "," $1 "," $11] += $18 }
NR > 1 && $9 != $17 && $2 ~ /^(Ind)?(Call|Jump)$/ { calls[$4 "," $9 "," $5 "," $17] += $18 }
END {
    for (edge in edges) print "edge," edge "," edges[edge]
    for (call in calls) print "call," call "," calls[call]
}
