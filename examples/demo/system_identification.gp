# Draws how five filters come to know a system, from the table of `system_identification`.
# Set before: dir, the folder of the table and of the picture.

if (strstrt(GPVAL_TERMINALS, "pngcairo") > 0) {
    set terminal pngcairo size 1200,560 font "Sans,11" linewidth 1.2 background "#ffffff"
} else {
    set terminal png size 1200,560
}
set encoding utf8
set output dir."/system_identification.png"
curves = dir."/identification.dat"

set border 3 linecolor "#666666"
set tics nomirror out scale 0.5 textcolor "#333333"
set grid ytics linecolor "#dddddd" linewidth 0.6 linetype 1 dashtype solid
set lmargin at screen 0.07; set rmargin at screen 0.98
set tmargin at screen 0.91; set bmargin at screen 0.125
set title "A system of 16 taps behind an input whose spectrum spans 32 dB" offset 0,-0.3
set logscale x
set xrange [20:*]
set yrange [-110:10]
set ytics 20
set format x "10^{%T}"
set xlabel "samples"
set ylabel "misalignment (dB)"
set key at graph 0.03, graph 0.45 left top samplen 3 spacing 1.2 textcolor "#333333" Left reverse
set arrow from graph 0, first -60 to graph 1, first -60 nohead linecolor "#9a9a9a" dashtype 2
plot curves using 1:6 with lines linewidth 2.4 linecolor "#c0562f" title "RLS (rls64f)", \
     "" using 1:5 with lines linewidth 2.4 linecolor "#e0a070" title "least-squares lattice (rlslattice64f)", \
     "" using 1:4 with lines linewidth 1.6 linecolor "#2e7d5b" title "gradient lattice (lmslattice64f)", \
     "" using 1:3 with lines linewidth 1.6 linecolor "#2f5d8a" title "NLMS (nlms64f)", \
     "" using 1:2 with lines linewidth 1.6 linecolor "#9a9a9a" title "LMS (lms64f)"
