# Draws a panel for every family from the tables of `tour`: tour.dat and, as printed, tour.txt.
# Set before: dir, the folder of the tables and of the picture.

if (strstrt(GPVAL_TERMINALS, "pngcairo") > 0) {
    set terminal pngcairo size 1280,1440 font "Sans,11" linewidth 1.2 background "#ffffff"
} else {
    set terminal png size 1280,1440
}
set encoding utf8
set output dir."/gallery.png"
curves = dir."/tour.dat"

# Row i of the printed table, from 0, and its columns.
field(i, n) = system(sprintf("awk -F '  +' 'NR == %d { print $%d }' '%s/tour.txt'", i + 2, n, dir))
families = 17
# Where the panel of row i ends, in samples; the first one runs over frequency.
ends = "0.5 1000 16000 6000 1000 16000 6000 50000 8000 8000 6000 6000 800 800 800 800 6000"

own = "#2f5d8a"; plain = "#b0b0b0"; goal = "#c0562f"
columns = 4; rows = 5
left(c) = 0.058 + 0.2395 * c
top(r) = 0.984 - 0.1945 * r
width = 0.2; height = 0.122

set border 3 linecolor "#666666"
set tics nomirror out scale 0.4 textcolor "#333333" font ",10"
set grid ytics linecolor "#e4e4e4" linewidth 0.6 linetype 1 dashtype solid
unset key
set multiplot

do for [i = 0:families - 1] {
    c = i % columns; r = i / columns
    set lmargin at screen left(c); set rmargin at screen left(c) + width
    set tmargin at screen top(r) - 0.03; set bmargin at screen top(r) - 0.03 - height
    unset label; unset arrow
    end = real(word(ends, i + 1))
    lowest = i == 0 ? -90 : end == 800 ? -20 : -80
    set label 1 field(i, 1) at graph 0, 1.21 font "Sans Bold,12" textcolor rgb own
    set label 2 field(i, 2) at graph 0, 1.085 font ",10.5" textcolor rgb "#333333"
    set label 3 field(i, 6)." ns" at graph 1, 1.21 right font ",10.5" textcolor rgb "#666666"
    rival = field(i, 7)
    set label 4 rival[1:strstrt(rival, ":") - 1] at graph 0.97, (i == 7 ? 0.82 : 0.9) right font ",10" textcolor rgb "#8a8a8a"
    set xrange [0:end]; set yrange [lowest:5]
    step = i == 0 ? 30 : end == 800 ? 5 : 20
    set ytics -120, step, 0
    set xtics end / 2
    set xlabel (i == 0 ? "frequency / sampling rate" : "samples") offset 0,0.45 font ",10" textcolor "#666666"
    set ylabel (c == 0 ? (i == 0 ? "response (dB)" : "residual (dB)") : "") offset 1.2 font ",10" textcolor "#666666"
    aim = real(field(i, 3))
    set arrow from graph 0, first aim to graph 1, first aim nohead linecolor rgb goal linewidth 0.8 dashtype 3
    plot curves index i using 1:3 with lines linewidth 1.6 linecolor rgb plain, \
         curves index i using 1:2 with lines linewidth 2 linecolor rgb own
}

# What a sample costs.
unset label; unset arrow; unset xlabel; unset ylabel
set lmargin at screen left(1); set rmargin at screen left(3) + width
set tmargin at screen top(4) - 0.03; set bmargin at screen top(4) - 0.03 - height
set label 1 "Cost of a sample" at graph 0, 1.21 font "Sans Bold,12" textcolor "#333333"
set label 2 "ns on one core: 32 taps (10 stages in …pef64f, 1024 taps in pbfdaf64f)" at graph 0, 1.085 font ",10.5" textcolor "#333333"
set xrange [-0.6:families - 0.4]; set yrange [4:700]
set logscale y; set ytics (5, 10, 20, 50, 100, 200, 500)
set format x "%s"
set xtics scale 0 rotate by 38 right font ",9.5"
set boxwidth 0.62
set style fill solid noborder
do for [i = 0:families - 1] { set xtics add (field(i, 1) i) }
plot '< awk -F "  +" "NR > 1 && NR <= 18 { print \$6 }" "'.dir.'/tour.txt"' using 0:1 with boxes linecolor rgb own, \
     "" using 0:1:(sprintf("%.0f", $1)) with labels offset 0,0.6 font ",9.5" textcolor rgb "#333333"
unset multiplot
