; kbsh: --watch focus --run
; A letter goes through a dozen modules. What is expected, in the order of firing:
;   MAIN puts INTAKE, SORTING and ARCHIVE on the stack; INTAKE stamps both letters, the newer one first. The stamp of
;   the heavy letter wakes CUSTOMS, which takes the focus by itself in the middle of INTAKE's work, calls XRAY from an
;   action, and gives up its turn with (return) while it still has a rule to fire.
;   SORTING hands each letter to NORTH or SOUTH; these share the template hop with their carriers by truck and ship and
;   see nothing of each other's hops. What arrives goes to DELIVERY, and ARCHIVE counts at the end, when the left rule of
;   CUSTOMS gets its turn through RETURNS.
(defmodule MAIN (export ?ALL))
(deftype grams extends (type INTEGER) (range 1 2000))
(deftemplate letter (slot id) (slot to) (slot weight (type grams)) (slot at (default here)))
(deftemplate stamp (slot letter))
(deftemplate arrived (slot letter) (slot by))
(deftemplate opened (slot letter))

(defmodule INTAKE (import MAIN ?ALL))
(deftemplate seen (slot letter))
(defrule INTAKE::stamp
  (letter (id ?id))
  (not (seen (letter ?id)))
  =>
  (printout t "stamp " ?id crlf)
  (assert (seen (letter ?id)) (stamp (letter ?id))))

(defmodule CUSTOMS (import MAIN ?ALL) (export deftemplate question))
(deftemplate question (slot letter))
(defrule CUSTOMS::heavy
  (declare (auto-focus TRUE) (salience 5))
  (stamp (letter ?id))
  (letter (id ?id) (weight ?weight&:(> ?weight 500)) (at here))
  =>
  (printout t "heavy " ?id crlf)
  (assert (question (letter ?id)))
  (focus XRAY))
(defrule CUSTOMS::tell
  (opened (letter ?id))
  =>
  (printout t "customs has seen " ?id crlf)
  (return))
(defrule CUSTOMS::file
  (declare (salience -5))
  (opened (letter ?id))
  =>
  (printout t "customs files " ?id crlf))

(defmodule XRAY (import MAIN deftemplate opened) (import CUSTOMS ?ALL))
(defrule XRAY::look
  ?question <- (question (letter ?id))
  =>
  (printout t "x-ray " ?id crlf)
  (retract ?question)
  (assert (opened (letter ?id))))

(defmodule SORTING (import MAIN ?ALL) (export deftemplate hop))
(deftemplate hop (slot letter) (slot road))
(defrule SORTING::north (letter (id ?id) (to north) (at here)) => (assert (hop (letter ?id) (road land))) (focus NORTH))
(defrule SORTING::south (letter (id ?id) (to south) (at here)) => (assert (hop (letter ?id) (road sea))) (focus SOUTH))

(defmodule NORTH (import SORTING ?ALL) (export deftemplate load))
(deftemplate load (slot letter))
(defrule NORTH::pass (hop (letter ?id) (road land)) => (printout t "north " ?id crlf) (assert (load (letter ?id))) (focus TRUCK))

(defmodule SOUTH (import SORTING ?ALL) (export deftemplate load))
(deftemplate load (slot letter))
(defrule SOUTH::pass (hop (letter ?id) (road sea)) => (printout t "south " ?id crlf) (assert (load (letter ?id))) (focus SHIP))

(defmodule TRUCK (import MAIN deftemplate arrived) (import NORTH ?ALL))
(defrule TRUCK::drive (load (letter ?id)) => (printout t "truck " ?id crlf) (assert (arrived (letter ?id) (by truck))))

(defmodule SHIP (import MAIN deftemplate arrived) (import SOUTH ?ALL))
(defrule SHIP::sail (load (letter ?id)) => (printout t "ship " ?id crlf) (assert (arrived (letter ?id) (by ship))))

(defmodule DELIVERY (import MAIN ?ALL))
(defrule DELIVERY::ring
  (declare (auto-focus TRUE))
  (arrived (letter ?id) (by ?carrier))
  ?letter <- (letter (id ?id) (at here))
  =>
  (printout t "ring for " ?id " that came by " ?carrier crlf)
  (modify ?letter (at door)))

(defmodule RETURNS)
(defrule RETURNS::now => (printout t "leftovers" crlf) (focus CUSTOMS))

(defmodule ARCHIVE (import MAIN ?ALL))
(defrule ARCHIVE::count
  (not (letter (at here)))
  =>
  (printout t "all at the door, stack " (get-focus-stack) crlf)
  (focus RETURNS))

(deffacts MAIN::post (letter (id a) (to south) (weight 20)) (letter (id b) (to north) (weight 900)))
(defrule MAIN::begin => (focus INTAKE SORTING ARCHIVE))
