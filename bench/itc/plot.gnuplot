# Draws the figures of docs/performance.md from `data` (measure, contender, parameter, mode,
# nanoseconds, parted by tabs) into the folder `figures`.

# The rows of one measure, mode and parameter, the fastest first: contender, microseconds.
rows(measure, mode, parameter) = sprintf("< awk -F'\\t' -v OFS='\\t' " \
    ."'index($1, \"%s\") == 1 && $4 == \"%s\" && $3 == %d { print $2, $5 / 1000 }' %s " \
    ."| sort -t'\t' -k2 -g", measure, mode, parameter, data)

# How one contender fares with more senders: senders, microseconds.
senders(contender, mode) = sprintf("< awk -F'\\t' -v OFS='\\t' " \
    ."'index($1, \"many senders\") == 1 && $2 == \"%s\" && $4 == \"%s\" { print $3, $5 / 1000 }' %s", \
    contender, mode, data)

ours(name) = name eq "itc" ? 0xc0392b : 0x7f8c8d

draw = 'reset; set datafile separator "\t"; set multiplot layout 1, 3; \
    set style fill solid; set boxwidth 0.7; unset key; set grid ytics; \
    set xtics rotate by -40; set logscale y; set ylabel "microseconds, logarithmic"; set yrange [*:*]; \
    set title "round trip, 64 B, processes on one CPU"; \
    plot rows("round trip between processes", "pinned", 64) \
        using 0:2:(ours(strcol(1))):xtic(1) with boxes linecolor rgb variable; \
    set title "one way, 64 B, processes on one CPU"; \
    plot rows("one way between processes", "pinned", 64) \
        using 0:2:(ours(strcol(1))):xtic(1) with boxes linecolor rgb variable; \
    set title "many senders, 64 B, on one CPU, per message"; \
    set xtics norotate (1, 2, 4, 8); set xlabel "senders"; set key top left; set logscale x; \
    plot senders("itc", "pinned") using 1:2 with linespoints title "itc" linecolor rgb 0xc0392b, \
         senders("zeromq", "pinned") using 1:2 with linespoints title "zeromq", \
         senders("seqpacket", "pinned") using 1:2 with linespoints title "seqpacket"; \
    unset multiplot'

set terminal pngcairo size 1400, 460 font "sans,10"
set output figures."/bench-itc.png"
eval draw
set terminal svg size 1400, 460 font "sans,10" background "white"
set output figures."/bench-itc.svg"
eval draw
