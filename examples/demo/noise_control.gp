# Draws active noise control from the tables of `noise_control`.
# Set before: dir, the directory of the tables and of the picture.
call "picture.gp" "noise_control" 1200 560
levels = dir."/levels.dat"
spectra = dir."/spectra.dat"

set multiplot
set tmargin at screen 0.91; set bmargin at screen 0.125
set key right top

stats levels using 1 nooutput name "T"
stats levels using 2 nooutput name "L"
set title "Level at the error microphone; control begins at 1 s" offset 0,-0.3
set lmargin at screen 0.07; set rmargin at screen 0.48
set xrange [0:ceil(T_max)]; set yrange [*:5 * ceil((L_max + 3) / 5.0)]; set ytics 10
set xlabel "time (s)"; set ylabel "sound pressure level (dB re 20 µPa)"
set key at graph 0.98, graph 0.83
plot levels using 1:2 with lines linewidth 1.6 linecolor rgb grey title "no control", \
     "" using 1:3 with lines linewidth 3.2 linecolor rgb blue title "filtered-x LMS (fxlms64f)", \
     "" using 1:4 with lines linewidth 1.2 linecolor rgb orange title "adjoint LMS (adjlms64f)"

set title "Spectrum over the last quarter of the time"
set lmargin at screen 0.575; set rmargin at screen 0.98
set xrange [0:2000]; set yrange [20:*]
set xtics 0,400
set xlabel "frequency (Hz)"; set ylabel "level per 7.8 Hz (dB re 20 µPa)"
set key at graph 0.98, graph 0.97
plot spectra using 1:2 with filledcurves y=20 fillstyle solid 0.35 noborder \
        linecolor rgb grey notitle, \
     "" using 1:2 with lines linewidth 1.6 linecolor rgb grey title "no control", \
     "" using 1:3 with lines linewidth 3.2 linecolor rgb blue title "filtered-x LMS (fxlms64f)", \
     "" using 1:4 with lines linewidth 1.2 linecolor rgb orange title "adjoint LMS (adjlms64f)"

unset multiplot
