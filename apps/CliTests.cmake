# End-to-end tests of qor-meridional (label "apps"). Each runs the tool in its own fresh directory
# under the build tree through tests/RunCli.cmake; arguments are separated by "|".

set(QOR_CLI_DATA ${CMAKE_CURRENT_SOURCE_DIR}/testdata)
set(QOR_CLI_DUCT --passage|${QOR_CLI_DATA}/duct|--size|400)

function(qor_cli_test name)
  cmake_parse_arguments(T "ONE_LINE_ERROR" "EXIT;STDERR;NEEDS_ENV;NUMBER_REGEX;NUMBER_MAX"
                        "ARGS;STDOUT;FILES;FILE_REGEX;VALUES;PREPARE" ${ARGN})
  if(NOT DEFINED T_EXIT)
    set(T_EXIT 0)
  endif()
  string(REPLACE ";" "|" args "${T_ARGS}")
  set(defs -DTOOL=$<TARGET_FILE:qor-meridional> "-DARGS=${args}"
           -DWORKDIR=${CMAKE_CURRENT_BINARY_DIR}/cli-tests/${name} -DEXPECT_EXIT=${T_EXIT})
  foreach(list_arg STDOUT FILES FILE_REGEX VALUES PREPARE)
    if(DEFINED T_${list_arg})
      string(REPLACE ";" "|" v "${T_${list_arg}}")
      set(var ${list_arg})
      if(list_arg STREQUAL "STDOUT")
        set(var STDOUT_REGEX)
      endif()
      list(APPEND defs "-D${var}=${v}")
    endif()
  endforeach()
  if(DEFINED T_STDERR)
    list(APPEND defs "-DSTDERR_REGEX=${T_STDERR}")
  endif()
  if(T_ONE_LINE_ERROR)
    list(APPEND defs -DONE_LINE_ERROR=ON)
  endif()
  if(DEFINED T_NEEDS_ENV)
    list(APPEND defs -DNEEDS_ENV=${T_NEEDS_ENV})
  endif()
  if(DEFINED T_NUMBER_REGEX)
    list(APPEND defs "-DNUMBER_REGEX=${T_NUMBER_REGEX}" -DNUMBER_MAX=${T_NUMBER_MAX})
  endif()
  set(labels apps)
  if(DEFINED T_NEEDS_ENV)
    list(APPEND labels realdata)
  endif()
  add_test(NAME apps.${name} COMMAND ${CMAKE_COMMAND} ${defs} -P ${CMAKE_CURRENT_SOURCE_DIR}/tests/RunCli.cmake)
  set_tests_properties(apps.${name} PROPERTIES LABELS "${labels}"
                       SKIP_REGULAR_EXPRESSION "is not set to a directory: skipped")
endfunction()

# A malformed input: exit status 2 and exactly one error line matching `regex`.
function(qor_cli_rejects name regex)
  qor_cli_test(${name} EXIT 2 ONE_LINE_ERROR STDERR "${regex}" ${ARGN})
endfunction()

# ---- help ----------------------------------------------------------------------------------------
qor_cli_test(help ARGS --help STDOUT "commands:" "demo" "segment")
foreach(cmd demo mesh convert invert lines segment)
  qor_cli_test(help_${cmd} ARGS ${cmd}|--help STDOUT "usage: qor-meridional ${cmd}" "--help")
endforeach()
qor_cli_rejects(no_command "^qor-meridional: error: unknown command 'frobnicate'" ARGS frobnicate)

# ---- demo ----------------------------------------------------------------------------------------
qor_cli_test(demo ARGS demo
  STDOUT "background mesh: [0-9]+ x [0-9]+ nodes" "good \\(0 inverted\\)" "largest round-trip error"
  FILES qor-demo/mesh.vtk qor-demo/meridional.svg qor-demo/sample-points.csv qor-demo/sample-conversion.csv
        qor-demo/passage/hub.csv
  FILE_REGEX "qor-demo/mesh.vtk=DATASET STRUCTURED_GRID.*SCALARS mprime float.*SCALARS nspan float.*SCALARS mprimeScaled float"
             "qor-demo/meridional.svg=^<\\?xml.*<svg .*class=\"span\".*class=\"stream\".*</svg>"
  NUMBER_REGEX "largest round-trip error: ([-0-9.e+]+) mm" NUMBER_MAX 0.01)

# ---- mesh ----------------------------------------------------------------------------------------
qor_cli_test(mesh_mixed_formats ARGS mesh|${QOR_CLI_DUCT}|--output|duct
  STDOUT "background mesh: [0-9]+ x [0-9]+ nodes" "wrote duct.vtk, duct.svg"
  FILES duct.vtk duct.svg
  FILE_REGEX "duct.vtk=DIMENSIONS [0-9]+ [0-9]+ 1.*POINT_DATA.*SCALARS rnm float"
             "duct.svg=>Background mesh: duct<")
qor_cli_test(mesh_xyz_axis_x
  ARGS mesh|--xyz|--axis-dir|x|--hub|${QOR_CLI_DATA}/duct-xyz/hub.txt|--shroud|${QOR_CLI_DATA}/duct-xyz/shroud.txt
       --inlet|${QOR_CLI_DATA}/duct-xyz/inlet.txt|--outlet|${QOR_CLI_DATA}/duct-xyz/outlet.txt|--method|linear|--size|300
  STDOUT "linear" FILES mesh.vtk mesh.svg)
qor_cli_test(mesh_reverses_the_one_reversed_curve
  ARGS mesh|--hub|${QOR_CLI_DATA}/bad/hub-reversed.csv|--shroud|${QOR_CLI_DATA}/duct/shroud.txt
       --inlet|${QOR_CLI_DATA}/duct/inlet.dat|--outlet|${QOR_CLI_DATA}/duct/outlet.csv|--size|400
  STDOUT "good \\(0 inverted\\)"
  STDERR "^qor-meridional: warning: [^\n]*bad/hub-reversed.csv: the hub curve runs outlet to inlet while the other curves agree with each other; reversed it\n$")
# A shroud that dips through the hub folds the mesh: an error unless --allow-folded.
set(QOR_CLI_THROUGH --hub|${QOR_CLI_DATA}/duct/hub.csv|--shroud|${QOR_CLI_DATA}/bad/shroud-through-hub.csv
    --inlet|${QOR_CLI_DATA}/duct/inlet.dat|--outlet|${QOR_CLI_DATA}/duct/outlet.csv|--size|400)
qor_cli_rejects(mesh_folded "the background mesh is folded \\(cells turned inside out\\): the likely cause is a curve that crosses another"
  ARGS convert|${QOR_CLI_DATA}/duct-points.txt|${QOR_CLI_THROUGH})
qor_cli_test(mesh_folded_allowed ARGS mesh|${QOR_CLI_THROUGH}|--allow-folded
  STDOUT "FOLDED" STDERR "warning: the background mesh is folded")
qor_cli_test(mesh_spaces ARGS mesh|${QOR_CLI_DUCT}|--spaces|nm,nspan
  FILE_REGEX "mesh.vtk=POINT_DATA [0-9]+\nSCALARS nspan float 1\n[^S]*SCALARS nm float 1\n[^S]*$")
# The machine's frame: the duct about z through (0, 0, 5), theta 0 along x: the inlet's hub node
# (axial 0, radius 1) lies at (1, 0, 5); by default at (0, 1, 0).
qor_cli_test(mesh_frame_xyz ARGS mesh|${QOR_CLI_DUCT}|--axis-point|0,0,5|--frame|xyz|--output|fx
  FILE_REGEX "fx.vtk=POINTS [0-9]+ float\n1 0 5\n")
qor_cli_test(mesh_frame_default ARGS mesh|${QOR_CLI_DUCT}|--axis-point|0,0,5|--output|fa
  FILE_REGEX "fa.vtk=POINTS [0-9]+ float\n0 1 0\n")
# Revolved in 4 steps: 5 planes, the first at theta 0, the next three a quarter turn apart, the
# last at a full turn (its first node again at (1, 0, 5) within rounding).
qor_cli_test(mesh_revolve ARGS mesh|${QOR_CLI_DUCT}|--axis-point|0,0,5|--revolve|4|--output|rv
  FILE_REGEX "rv.vtk=DIMENSIONS ([0-9]+) ([0-9]+) 5\nPOINTS [0-9]+ float\n1 0 5\n"
             "rv.vtk=\n-?[0-9.e-]+ 1 5\n" "rv.vtk=\n-1 -?[0-9.e-]+ 5\n" "rv.vtk=\n-?[0-9.e-]+ -1 5\n")
qor_cli_rejects(mesh_revolve_in_art "option --revolve: the revolved mesh lies in the machine's frame, not --frame art"
  ARGS mesh|${QOR_CLI_DUCT}|--revolve|4|--frame|art)
qor_cli_test(mesh_demo_linear ARGS mesh|--demo|--method|linear|--size|coarse|--output|m STDOUT "linear" FILES m.vtk m.svg)

# ---- convert -------------------------------------------------------------------------------------
qor_cli_test(convert_art ARGS convert|${QOR_CLI_DATA}/duct-points.txt|${QOR_CLI_DUCT}|--spaces|all|--directions|--output|out.csv
  STDERR "duct-points.txt: 0 of 4 points outside the passage"
  FILE_REGEX "out.csv=^line,axial,radial,theta,location,mprime,span,m,nmprime,nspan,nm,rnm,mprimeScaled,stream_axial,stream_radial,span_axial,span_radial\n2,2,1.5,0.25,inside,[^\n]*\n3,0,1,0,inside,"
  VALUES out.csv,1,nm,0.495,0.505 out.csv,1,nspan,0.495,0.505 out.csv,1,m,1.98,2.02 out.csv,1,theta,0.25,0.25
         out.csv,1,stream_axial,0.999,1.001 out.csv,1,span_radial,0.999,1.001
         out.csv,2,nm,-0.001,0.001 out.csv,2,nspan,-0.001,0.001 out.csv,3,nm,0.999,1.001 out.csv,3,nspan,0.999,1.001)
qor_cli_test(convert_xyz ARGS convert|--points-xyz|${QOR_CLI_DATA}/duct-points-xyz.csv|${QOR_CLI_DUCT}|--axis-dir|x
       --directions|--output|out.csv
  FILE_REGEX "out.csv=^line,x,y,z,location,nm,nspan,mprime,stream_x,stream_y,stream_z,span_x,span_y,span_z\n"
  VALUES out.csv,1,nm,0.495,0.505 out.csv,1,nspan,0.495,0.505 out.csv,2,nm,0.495,0.505 out.csv,2,nspan,0.495,0.505
         out.csv,1,stream_x,0.999,1.001 out.csv,1,span_z,0.999,1.001 out.csv,2,span_y,0.999,1.001)

# A header decides the frame: x, y, z columns are Cartesian without --points-xyz; an option that
# contradicts the header is an error.
qor_cli_test(convert_xyz_by_header ARGS convert|${QOR_CLI_DATA}/duct-points-xyz.csv|${QOR_CLI_DUCT}|--axis-dir|x|--output|out.csv
  FILE_REGEX "out.csv=^line,x,y,z,"
  VALUES out.csv,1,nm,0.495,0.505 out.csv,1,nspan,0.495,0.505 out.csv,2,nm,0.495,0.505 out.csv,2,nspan,0.495,0.505)
# A write that fails on the way is an error (exit 2), not a silent truncation.
qor_cli_test(convert_to_full_device EXIT 2 ARGS convert|${QOR_CLI_DATA}/duct-points.txt|${QOR_CLI_DUCT}|--output|/dev/full
  STDERR "qor-meridional: error: /dev/full: write failed: ")
qor_cli_rejects(convert_frame_contradicts_header
  "duct-points-xyz.csv:1: the header names Cartesian \\(x, y, z\\) columns, but option --points-art says the points are meridional"
  ARGS convert|--points-art|${QOR_CLI_DATA}/duct-points-xyz.csv|${QOR_CLI_DUCT})
qor_cli_rejects(mesh_frame_contradicts_header
  "duct-xyz/hub.txt:1: the header names Cartesian \\(x, y, z\\) columns, but option --art says"
  ARGS mesh|--art|--axis-dir|x|--hub|${QOR_CLI_DATA}/duct-xyz/hub.txt|--shroud|${QOR_CLI_DATA}/duct-xyz/shroud.txt
       --inlet|${QOR_CLI_DATA}/duct-xyz/inlet.txt|--outlet|${QOR_CLI_DATA}/duct-xyz/outlet.txt)
qor_cli_rejects(mesh_frames_disagree
  "duct-xyz/shroud.txt and [^ ]*duct/hub.csv disagree: the header of the first names Cartesian"
  ARGS mesh|--axis-dir|x|--hub|${QOR_CLI_DATA}/duct/hub.csv|--shroud|${QOR_CLI_DATA}/duct-xyz/shroud.txt
       --inlet|${QOR_CLI_DATA}/duct-xyz/inlet.txt|--outlet|${QOR_CLI_DATA}/duct-xyz/outlet.txt)

# ---- invert --------------------------------------------------------------------------------------
qor_cli_test(invert_file ARGS invert|${QOR_CLI_DATA}/duct-inverse.csv|--space|nm|${QOR_CLI_DUCT}|--output|art.csv
  VALUES art.csv,1,axial,1.98,2.02 art.csv,1,radial,1.49,1.51 art.csv,2,axial,3.99,4.01 art.csv,2,radial,1.99,2.01
         art.csv,3,axial,-0.01,0.01 art.csv,3,radial,0.99,1.01)
qor_cli_test(invert_spaces_theta_once ARGS invert|--at|0.5,0.3,0.5|--spaces|nm|${QOR_CLI_DUCT}|--output|art.csv
  FILE_REGEX "art.csv=^line,nm,theta,nspan,location,axial,radial\n0,0.5,0.3[0-9]*,0.5,inside,[-0-9.e]+,[-0-9.e]+\n$"
  VALUES art.csv,1,axial,1.98,2.02 art.csv,1,radial,1.49,1.51)
# Clamped inputs are named by the side they were beyond, and counted.
qor_cli_test(invert_clamped_named ARGS invert|--at|1.2,0,0.5|--at|0.5,0,-0.3|--at|0,0,1|${QOR_CLI_DUCT}|--output|art.csv
  STDERR "the --at points: 2 of 3 points outside the passage \\(1 beyondHub, 1 afterOutlet"
  FILE_REGEX "art.csv=\n0,1.2[0-9]*,0,0.5,afterOutlet,[^\n]*\n0,0.5,0,-0.3[0-9]*,beyondHub,[^\n]*\n0,0,0,1,inside,")
qor_cli_rejects(invert_space_and_spaces "options --space and --spaces exclude each other"
  ARGS invert|--demo|--space|nm|--spaces|m|--at|0,0,0)
qor_cli_test(invert_at_xyz ARGS invert|--at|0.5,0,0.5|--to-xyz|${QOR_CLI_DUCT}|--axis-dir|x|--output|xyz.csv
  VALUES xyz.csv,1,x,1.98,2.02 xyz.csv,1,y,1.49,1.51 xyz.csv,1,z,-0.01,0.01)

# ---- lines ---------------------------------------------------------------------------------------
qor_cli_test(lines_duct ARGS lines|--nspan|0.5|--nm|0.25|--points|11|${QOR_CLI_DUCT}
  STDOUT "wrote 2 lines to lines.csv, lines.svg" FILES lines.csv lines.svg
  FILE_REGEX "lines.svg=<polyline class=\"span\".*<polyline class=\"stream\""
  VALUES lines.csv,1,radial,1.49,1.51 lines.csv,11,axial,3.99,4.01 lines.csv,12,axial,0.99,1.01 lines.csv,22,radial,1.99,2.01)
qor_cli_test(lines_demo_every ARGS lines|--demo|--every|0.25|--output|iso STDOUT "wrote 6 lines" FILES iso.csv iso.svg)

# ---- segment -------------------------------------------------------------------------------------
qor_cli_test(segment_duct
  ARGS segment|${QOR_CLI_DATA}/duct-segment-points.csv|--boundaries|${QOR_CLI_DATA}/duct-boundaries.csv|${QOR_CLI_DUCT}
  STDOUT "2 internal boundaries, 3 segments" "segment 1: le -> te"
  FILES segments.csv segments-boundaries.csv segments.svg
  VALUES segments.csv,1,segment,0,0 segments.csv,1,u,0.49,0.51 segments.csv,1,v,0.49,0.51
         segments.csv,2,segment,1,1 segments.csv,2,u,0.49,0.51 segments.csv,3,segment,2,2 segments.csv,3,u,0.49,0.51
         segments.csv,3,v,0.24,0.26)
# Points coloured by segment, a point beyond the outlet marked as outside, the legend naming them.
qor_cli_test(segment_outside_marked
  ARGS segment|${QOR_CLI_DATA}/duct-segment-outside.csv|--boundaries|${QOR_CLI_DATA}/duct-boundaries.csv|${QOR_CLI_DUCT}
  VALUES segments.csv,4,segment,-1,-1
  STDERR "1 of 4 points outside the passage \\(1 afterOutlet"
  FILE_REGEX "segments.csv=\n5,9,1.5,0,afterOutlet,-1,,\n" "segments.svg=<circle class=\"outside\".*>your points: outside the passage<.*>your points: segment 2<")
qor_cli_test(segment_demo_merged ARGS segment|--demo|--sampling|mergedSpan|--spaces|m|--output|seg
  STDOUT "3 segments \\(u in m\\)" FILES seg-boundaries.csv seg.svg)

# ---- malformed input -----------------------------------------------------------------------------
set(duct_rest --shroud|${QOR_CLI_DATA}/duct/shroud.txt|--inlet|${QOR_CLI_DATA}/duct/inlet.dat|--outlet|${QOR_CLI_DATA}/duct/outlet.csv)
qor_cli_rejects(bad_number "bad/number.csv:4: column 2 \\(radial\\) is not a finite number: 'abc'"
  ARGS mesh|--hub|${QOR_CLI_DATA}/bad/number.csv|${duct_rest})
qor_cli_rejects(bad_columns "bad/columns.csv:3: expected 2 columns, found 3"
  ARGS mesh|--hub|${QOR_CLI_DATA}/bad/columns.csv|${duct_rest})
qor_cli_rejects(bad_count "bad/count.dat:5: the count line says 6 points, but the file ends after 4"
  ARGS mesh|--hub|${QOR_CLI_DATA}/bad/count.dat|${duct_rest})
qor_cli_rejects(bad_empty "bad/empty.csv: no points found"
  ARGS mesh|--hub|${QOR_CLI_DATA}/bad/empty.csv|${duct_rest})
qor_cli_rejects(bad_nan "bad/nan.txt:2: column 2 \\(radial\\) is not a finite number: 'nan'"
  ARGS convert|${QOR_CLI_DATA}/bad/nan.txt|${QOR_CLI_DUCT})
qor_cli_rejects(bad_one_point "bad/one-point.csv:2: the hub curve needs at least 2 points, found 1"
  ARGS mesh|--hub|${QOR_CLI_DATA}/bad/one-point.csv|${duct_rest})
qor_cli_rejects(bad_negative_radius "bad/negative-radius.csv:3: negative radius '-1'"
  ARGS mesh|--hub|${QOR_CLI_DATA}/bad/negative-radius.csv|${duct_rest})
qor_cli_rejects(bad_binary "bad/binary.csv:1: binary data"
  ARGS mesh|--hub|${QOR_CLI_DATA}/bad/binary.csv|${duct_rest})
qor_cli_rejects(bad_four_columns "bad/four-columns.csv:1: 4 numeric columns: add a header"
  ARGS convert|${QOR_CLI_DATA}/bad/four-columns.csv|${QOR_CLI_DUCT})
qor_cli_rejects(missing_file "no-such-file.csv: cannot open"
  ARGS mesh|--hub|no-such-file.csv|${duct_rest})
qor_cli_rejects(same_hub_and_shroud "duct/shroud.txt:2: TurboTransform::initializeFromXYZ: Hub and shroud curves seem to be the same. \\(the shroud's point at [^ ]*duct/shroud.txt:2\\)"
  ARGS mesh|--hub|${QOR_CLI_DATA}/duct/shroud.txt|${duct_rest})
qor_cli_rejects(library_error_names_the_point_line
  "bad/huge-coordinate.csv:4: TurboTransform::initializeFromART: Curve hub has a coordinate too large at point 2"
  ARGS mesh|--hub|${QOR_CLI_DATA}/bad/huge-coordinate.csv|${duct_rest})
qor_cli_rejects(unknown_option "unknown option '--frobnicate' for 'mesh'" ARGS mesh|--demo|--frobnicate)
qor_cli_rejects(bad_size "option --size of 'mesh': 'many' is not an integer" ARGS mesh|--demo|--size|many)
qor_cli_rejects(bad_axis "option --axis-dir: the axis direction must not be zero" ARGS mesh|--demo|--axis-dir|0,0,0)
qor_cli_rejects(unknown_space "option --spaces: unknown space 'speed'"
  ARGS convert|${QOR_CLI_DATA}/duct-points.txt|--demo|--spaces|nm,speed)
qor_cli_rejects(invert_nspan "option --space: 'nspan' cannot be inverted" ARGS invert|--demo|--space|nspan|--at|0,0,0)
qor_cli_rejects(missing_value "option --output of 'mesh': needs a value" ARGS mesh|--demo|--output)
qor_cli_rejects(no_passage "no passage given" ARGS lines|--every|0.1)
qor_cli_rejects(one_point_boundary "bad/one-point-boundary.csv:4: boundary 'te' has only one point"
  ARGS segment|--boundaries|${QOR_CLI_DATA}/bad/one-point-boundary.csv|${QOR_CLI_DUCT})
qor_cli_rejects(bad_segment_space "option --space of 'segment': 'nspan' is not one of m\\|nm\\|rnm\\|mprime"
  ARGS segment|--demo|--space|nspan)

# ---- a real machine ------------------------------------------------------------------------------
qor_cli_test(realdata_centrifugal_lowspeed NEEDS_ENV QOR_DATA_DIR
  ARGS mesh|--passage|@QOR_DATA_DIR@/centrifugal-compressor-lowspeed|--axis-dir|x|--units|m|--output|lowspeed
  STDOUT "background mesh: [0-9]+ x [0-9]+ nodes" FILES lowspeed.vtk lowspeed.svg)
qor_cli_test(realdata_centrifugal_lowspeed_convert NEEDS_ENV QOR_DATA_DIR
  ARGS convert|@QOR_DATA_DIR@/centrifugal-compressor-lowspeed/sections.csv|--passage|@QOR_DATA_DIR@/centrifugal-compressor-lowspeed
       --spaces|nm,nspan|--output|sections.csv
  VALUES sections.csv,1,nm,-0.01,0.01 sections.csv,1,nspan,-0.01,0.01)
qor_cli_test(realdata_centrifugal_lowspeed_segment NEEDS_ENV QOR_DATA_DIR
  ARGS segment|--passage|@QOR_DATA_DIR@/centrifugal-compressor-lowspeed
       --boundaries|@QOR_DATA_DIR@/centrifugal-compressor-lowspeed/internal_boundaries.csv|--units|m
  STDOUT "4 internal boundaries, 5 segments" "segment 1: row1_LE -> row1_TE" "segment 3: row2_LE -> row2_TE"
  FILES segments-boundaries.csv segments.svg)
# Blade edges of three points on the LP steam turbine (slanted, on curved walls): every given
# point converts to u within 1e-3 of 0 and 1 with the tool's defaults.
qor_cli_test(realdata_lp_steam_turbine_segment_edges NEEDS_ENV QOR_DATA_DIR
  ARGS segment|@QOR_DATA_DIR@/two-stage-lp-steam-turbine/internal_boundaries.csv
       --passage|@QOR_DATA_DIR@/two-stage-lp-steam-turbine
       --boundaries|@QOR_DATA_DIR@/two-stage-lp-steam-turbine/internal_boundaries.csv
  NUMBER_REGEX "boundary deviation: the given boundary points convert to u within ([-0-9.e+]+) of 0 and 1\n"
  NUMBER_MAX 0.001
  STDERR ": 0 of 24 points outside the passage")
# The SU2 wedge mesh: 13,572 Cartesian nodes about the z axis in the annulus hub r = 0.25 m, shroud
# r = 0.325 m, z = -0.15 .. 0.20 m, where nm = (z + 0.15) / 0.35 and nspan = (r - 0.25) / 0.075.
qor_cli_test(realdata_su2_nodes_xyz NEEDS_ENV QOR_DATA_DIR
  ARGS convert|--points-xyz|@QOR_DATA_DIR@/su2-axial-stage-bfm-mesh/nodes.csv|--passage|${QOR_CLI_DATA}/su2-annulus
       --spaces|nm,nspan|--output|nodes.csv
  VALUES nodes.csv,1,nm,-0.001,0.001 nodes.csv,1,nspan,-0.001,0.001
         nodes.csv,5001,nm,0.5627,0.5647 nodes.csv,5001,nspan,0.0893,0.0913
         nodes.csv,13572,nm,0.999,1.001 nodes.csv,13572,nspan,0.999,1.001)

# Curve directions on a real machine (the low-speed centrifugal compressor): its sections.csv holds
# the hub (section 1) and shroud (section 2) grid lines, so the first point lies at nm = nspan = 0
# and the last at nm = nspan = 1. One reversed curve is turned round with a warning and the numbers
# stay right; files that contradict each other are refused naming them.
set(QOR_CLI_LOW @QOR_DATA_DIR@/centrifugal-compressor-lowspeed)
set(QOR_CLI_LOW_CONVERT convert|${QOR_CLI_LOW}/sections.csv|--passage|p|--spaces|nm,nspan|--output|s.csv)
set(QOR_CLI_LOW_CORNERS s.csv,1,nm,-0.01,0.01 s.csv,1,nspan,-0.01,0.01 s.csv,574,nm,0.99,1.01 s.csv,574,nspan,0.99,1.01)
foreach(curve hub shroud inlet outlet)
  set(prepare)
  foreach(c hub shroud inlet outlet)
    set(how copy)
    if(c STREQUAL curve)
      set(how reverse)
    endif()
    list(APPEND prepare "${how}:${QOR_CLI_LOW}/${c}.csv:p/${c}.csv")
  endforeach()
  if(curve MATCHES "hub|shroud")
    set(way "outlet to inlet")
  else()
    set(way "shroud to hub")
  endif()
  qor_cli_test(realdata_reversed_${curve} NEEDS_ENV QOR_DATA_DIR PREPARE ${prepare} ARGS ${QOR_CLI_LOW_CONVERT}
    STDERR "p/${curve}.csv: the ${curve} curve runs ${way} while the other curves agree with each other; reversed it"
    VALUES ${QOR_CLI_LOW_CORNERS})
endforeach()
qor_cli_rejects(realdata_swapped_hub_and_shroud
  "p/hub.csv, p/shroud.csv, p/inlet.csv, p/outlet.csv: the curve files contradict each other \\(hub and shroud are swapped, or the inlet and the outlet run shroud to hub\\)"
  NEEDS_ENV QOR_DATA_DIR ARGS ${QOR_CLI_LOW_CONVERT}
  PREPARE copy:${QOR_CLI_LOW}/shroud.csv:p/hub.csv copy:${QOR_CLI_LOW}/hub.csv:p/shroud.csv
          copy:${QOR_CLI_LOW}/inlet.csv:p/inlet.csv copy:${QOR_CLI_LOW}/outlet.csv:p/outlet.csv)
qor_cli_rejects(realdata_reversed_hub_and_shroud
  "p/hub.csv, p/shroud.csv: the curve files contradict each other \\(the hub and the shroud run outlet to inlet\\)"
  NEEDS_ENV QOR_DATA_DIR ARGS ${QOR_CLI_LOW_CONVERT}
  PREPARE reverse:${QOR_CLI_LOW}/hub.csv:p/hub.csv reverse:${QOR_CLI_LOW}/shroud.csv:p/shroud.csv
          copy:${QOR_CLI_LOW}/inlet.csv:p/inlet.csv copy:${QOR_CLI_LOW}/outlet.csv:p/outlet.csv)
# Exact walls by default: the four-stage turbine's casing points convert to nspan within 1e-4 of 1
# (4.2e-3 with --chord-walls, the library's default).
qor_cli_test(realdata_exact_walls NEEDS_ENV QOR_DATA_DIR
  ARGS mesh|--passage|@QOR_DATA_DIR@/four-stage-axial-turbine|--axis-dir|x|--output|m
  NUMBER_REGEX "wall deviation: the given hub and shroud points convert to nspan within [-0-9.e+]+ of 0 and ([-0-9.e+]+) of 1 \\(span measured from the wall curves\\)"
  NUMBER_MAX 1e-4)
qor_cli_test(realdata_chord_walls NEEDS_ENV QOR_DATA_DIR
  ARGS mesh|--passage|@QOR_DATA_DIR@/four-stage-axial-turbine|--axis-dir|x|--output|m|--chord-walls
  STDOUT "within 0 of 0 and 0.004[0-9]* of 1 \\(span measured from the mesh's straight wall edges\\)")
