# gnuplot -c contact-sheet.gp <folder> <result.png>
# What went through the demo: a row for each picture, a column for each step, with the memory it lay in.
folder = ARG1
stats folder.'/sheet.tsv' using 1:2 nooutput
rows = int(STATS_records)

# Pixels, from the top left corner.
left = 100; cell_w = 200; cell_h = 168; gap = 8; split = 30
head = 124; foot = 40
columns = 8
width = left + columns * (cell_w + gap) + split + 16
height = head + rows * (cell_h + gap) + foot

mmz = '#c8641c'; heap = '#2f62a8'; shared = '#2b8a52'; own = '#666666'
array file[8] = ['captured', 'gray', 'blurred', 'edges', 'half', 'received', 'viewer-edges', 'histogram']
array name[8] = ['captured', 'gray', 'blurred', 'edges', 'half size', 'received', 'edges', 'histogram']
array kind[8] = ['MMZ block', 'heap block', 'heap block', 'heap block', 'heap block', \
                 'shared block', "the viewer's own", "the viewer's own"]
array color[8] = [mmz, heap, heap, heap, heap, shared, own, own]

set terminal pngcairo size width, height font 'DejaVu Sans,11' background '#fbfaf7'
set output ARG2

x_of(c) = left + (c - 1) * (cell_w + gap) + (c > 5 ? split : 0)
y_of(r) = height - head - r * (cell_h + gap) + gap
sx(x) = x / (1.0 * width)
sy(y) = y / (1.0 * height)

set multiplot
unset key
unset border
unset tics

# Headings and frames, over the whole picture.
set origin 0, 0
set size 1, 1
set lmargin 0; set rmargin 0; set tmargin 0; set bmargin 0
set xrange [0:1]
set yrange [0:1]
set label 1 'One process' at screen sx(x_of(1)), sy(height - 26) font 'DejaVu Sans Bold,17' textcolor rgb '#222222'
set label 2 'every block comes from a pool of the library and goes back to it' \
    at screen sx(x_of(1) + 172), sy(height - 27) font 'DejaVu Sans,12' textcolor rgb '#555555'
set label 3 'Second process' at screen sx(x_of(6)), sy(height - 26) font 'DejaVu Sans Bold,17' textcolor rgb '#222222'
set label 4 'opens every frame by name, copies nothing' \
    at screen sx(x_of(6) + 214), sy(height - 27) font 'DejaVu Sans,12' textcolor rgb '#555555'
do for [c = 1:columns] {
    set object 10 + c rectangle from screen sx(x_of(c)), sy(height - 112) to screen sx(x_of(c) + cell_w), \
        sy(height - 56) fillstyle solid 1 noborder fillcolor rgb color[c]
    set label 10 + c name[c] at screen sx(x_of(c) + cell_w / 2), sy(height - 74) center \
        font 'DejaVu Sans Bold,13' textcolor rgb 'white' front
    set label 30 + c kind[c] at screen sx(x_of(c) + cell_w / 2), sy(height - 98) center \
        font 'DejaVu Sans,11' textcolor rgb 'white' front
    do for [r = 1:rows] {
        set object 100 * r + c rectangle from screen sx(x_of(c)), sy(y_of(r)) \
            to screen sx(x_of(c) + cell_w), sy(y_of(r) + cell_h) behind \
            fillstyle solid 1 noborder fillcolor rgb '#eeece6'
    }
}
size_of(r) = system(sprintf("awk -F'\\t' '$1 == %d {print $2 \" × \" $3}' '%s/sheet.tsv'", r, folder))
do for [r = 1:rows] {
    set label 50 + r size_of(r) at screen sx(left - 12), sy(y_of(r) + cell_h / 2) right \
        font 'DejaVu Sans,10' textcolor rgb '#555555'
}
set label 60 'In memory every picture has the size at the left; half size is drawn to the same scale as the rest of its row. Between the processes goes a name, not the pixels; the camera lifts the shadows before it sends.' \
    at screen sx(x_of(1)), sy(foot / 2 - 2) font 'DejaVu Sans,11' textcolor rgb '#555555'
plot -1 notitle
unset label
unset object

# The pictures.
set size ratio -1
set xrange [*:*]
set yrange [*:*]
set autoscale fix
do for [r = 1:rows] {
    do for [c = 1:7] {
        inset = c == 5 ? 0.25 : 0.0
        set origin sx(x_of(c) + inset * cell_w), sy(y_of(r) + inset * cell_h)
        set size sx((1 - 2 * inset) * cell_w), sy((1 - 2 * inset) * cell_h)
        plot sprintf('%s/row%d-%s.png', folder, r, file[c]) binary filetype=png with rgbimage
    }
}

# The histograms: pixels of each brightness, for each channel; by their root, so that one tall spike does
# not flatten the rest.
set size noratio
set xrange [0:255]
set yrange [0:*]
set style fill transparent solid 0.45 noborder
do for [r = 1:rows] {
    set origin sx(x_of(8) + 8), sy(y_of(r) + 8)
    set size sx(cell_w - 16), sy(cell_h - 16)
    data = sprintf('%s/row%d-histogram.tsv', folder, r)
    plot data using 1:(sqrt($2)) with filledcurves y1=0 linecolor rgb '#c23b31', \
         data using 1:(sqrt($3)) with filledcurves y1=0 linecolor rgb '#2e8b47', \
         data using 1:(sqrt($4)) with filledcurves y1=0 linecolor rgb '#2d5fb3'
}
unset multiplot
