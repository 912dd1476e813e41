# Draws the removal of hum from the tables of `hum_scene score`.
# Set before: dir, the directory of the tables and of the picture.
call "picture.gp" "line_enhancer" 1200 820
spectra = dir."/hum_spectra.dat"
levels = dir."/hum_levels.dat"

set multiplot
set lmargin at screen 0.075; set rmargin at screen 0.98

set title "Voice with mains hum: spectrum of the last 10 s"
set tmargin at screen 0.95; set bmargin at screen 0.55
set xrange [0:500]; set xtics 50; set yrange [-90:-10]; set ytics 10
set xlabel "frequency (Hz)"; set ylabel "level per 2 Hz (dB re full scale)"
set key top right
plot spectra using 1:3 with filledcurves y=-90 fillstyle solid 0.35 noborder linecolor rgb grey notitle, \
     "" using 1:3 with lines linewidth 1.6 linecolor rgb grey title "recording", \
     "" using 1:5 with lines linewidth 1.6 linecolor rgb blue title "prediction, delay 100 ms (pbfdaf64f)", \
     "" using 1:6 with lines linewidth 1.6 linecolor rgb orange title "sine and cosine reference (lms64f)", \
     "" using 1:2 with lines linewidth 0.9 linecolor rgb "#111111" title "voice without hum"

set title "Output minus voice: hum that is left, and voice that is lost"
set tmargin at screen 0.41; set bmargin at screen 0.09
set autoscale xy
stats levels using 1 nooutput name "T"
set xrange [0:ceil(T_max)]; set xtics 2; set yrange [-30:12]; set ytics -30,10,0
set xlabel "time (s)"; set ylabel "level (dB re hum)"
set key top right maxrows 1 width -1
plot \
     levels using 1:2 with linespoints pointtype 7 pointsize 0.5 linewidth 1.6 linecolor rgb green \
        title "prediction, delay of one sample", \
     "" using 1:3 with linespoints pointtype 7 pointsize 0.5 linewidth 1.6 linecolor rgb blue \
        title "prediction, delay 100 ms", \
     "" using 1:4 with linespoints pointtype 7 pointsize 0.5 linewidth 1.6 linecolor rgb orange \
        title "sine and cosine reference"
unset multiplot
