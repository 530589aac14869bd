; kbsh: --watch facts,rules,activations --run
; What the watches print.
(deftemplate light (slot color))
(deffacts start (light (color red)))
(defrule switch ?f <- (light (color red)) => (modify ?f (color green)))
(defrule go (light (color green)) => (printout t "go" crlf))
