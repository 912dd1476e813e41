# Draws the learning curves of five filters from the table of `system_identification`.
# Set before: dir, the directory of the table and of the picture.
call "picture.gp" "system_identification" 1200 620
curves = dir."/identification.dat"

set lmargin at screen 0.07; set rmargin at screen 0.98
set tmargin at screen 0.8; set bmargin at screen 0.115
set title "Identification of a system of 16 taps; the spectrum of the input spans 32 dB" offset 0,4
set logscale x
set xrange [20:*]; set yrange [-110:10]; set ytics 20
set format x "10^{%T}"
set xlabel "samples"; set ylabel "misalignment (dB)"
set key at screen 0.525, screen 0.915 center top horizontal maxcols 3 Left reverse width 2
set label "lmslattice64f: stages frozen after 2000 samples" at 24, -100 textcolor rgb green
plot -60 with lines linewidth 1 dashtype 2 linecolor rgb "#333333" title "goal: -60 dB", \
     curves using 1:6 with lines linewidth 2.4 linecolor rgb orange title "RLS (rls64f)", \
     "" using 1:5 with lines linewidth 2.4 linecolor rgb "#e0a070" title "least-squares lattice (rlslattice64f)", \
     "" using 1:4 with lines linewidth 1.6 linecolor rgb green title "gradient lattice (lmslattice64f)", \
     "" using 1:3 with lines linewidth 1.6 linecolor rgb blue title "NLMS (nlms64f)", \
     "" using 1:2 with lines linewidth 1.6 linecolor rgb grey title "LMS (lms64f)"
