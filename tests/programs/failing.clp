; kbsh: --run status 1
; An error in an action ends the run; what was printed before it stands.
(defrule one (declare (salience 1)) => (printout t "before" crlf))
(defrule two => (printout t (/ 1 0) crlf))
(defrule three (declare (salience -1)) => (printout t "never" crlf))
