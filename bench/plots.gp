# gnuplot -c bench/plots.gp PART: docs/plots/PART.svg from the figures that the part has left in
# build/plots/PART.tsv.
part = ARG1
set terminal svg size 720, 360 font "sans-serif,12" background "white"
set output "docs/plots/".part.".svg"
set datafile separator "\t"
set border 3
set tics nomirror
set grid ytics lc rgb "#dddddd"
set key outside bottom center horizontal
set yrange [0:]

ours = "#1b6ca8"
theirs = "#c9c9c9"
file = "build/plots/".part.".tsv"

if (part eq "start" || part eq "big") {
    set style data histograms
    set style histogram clustered gap 1
    set style fill solid noborder
    set ylabel "milliseconds"
    set key outside top center
    set bmargin 3
    set xrange [-0.7:*]
    plot file using 3:xtic(strcol(1)."\n".strcol(2)) title "program" lc rgb ours, \
         "" using 4 title (part eq "start" ? "floor" : "GMime (base64 for the attachment)") lc rgb theirs
}
if (part eq "parse") {
    set logscale xy
    set yrange [*:*]
    set xlabel "size of the mail, MB"
    set ylabel "milliseconds of processor time"
    shown = "'ordinary text' 'ordinary base64' 'ordinary text shown' 'ordinary html shown' 'nesting' 'encoded words in a subject'"
    plot for [name in shown] "<grep -P '^".name."\t' ".file using 2:3 with linespoints pt 7 ps 0.4 title name
}
if (part eq "load") {
    set xlabel "mails at once"
    set ylabel "answered mails a second"
    set logscale x 2
    plot file using 1:2 with linespoints lc rgb ours pt 7 notitle
}
if (part eq "panel") {
    set logscale x
    set xlabel "mailboxes"
    set format x "%.0f"
    set ylabel "milliseconds for one mail"
    plot for [name in "'to a mailbox' 'to an alias at an alias domain'"] "<grep -P '^".name."\t' ".file using 2:3 \
         with linespoints pt 7 title name
}
