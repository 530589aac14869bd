; A planner for a machine shop: it puts some two hundred and fifty jobs of seventy orders on thirteen machines.
;
; Run it with the records of the shop:
;     kbsh planner.clp jobs.clp --run
;
; The plan is made in phases. "check" throws out records that cannot be right; "rank" gives every order a number, the
; smaller the sooner; "dispatch" takes the ready job whose turn it is, lets each machine of its kind make an offer and
; books the one that ends first; "verify" looks for mistakes in the finished plan; "report" prints it.
; Times are minutes since the first Monday, 00:00. There are ten working days; 0 is a Monday, 4 and 9 are Fridays.

(deftemplate machine (slot number) (slot name) (slot kind) (slot hall) (slot opens) (slot closes)
  (slot free-at (default 0)) (slot material (default none)) (slot load (default 0)) (slot setups (default 0)))
(deftemplate closure (slot machine) (slot day) (slot from) (slot to) (slot reason))
(deftemplate order (slot number) (slot customer) (slot class) (slot product) (slot pieces)
  (slot urgency (allowed-symbols express standard stock)) (slot material-day) (slot due-day)
  (slot rank (default 0)) (slot ends (default -1)))
(deftemplate job (slot id) (slot order) (slot step) (slot kind) (slot material) (slot minutes) (slot after)
  (slot state (default waiting)) (slot ready-at (default 0)) (slot rank (default 0)) (slot turn (default 0)))
(deftemplate offer (slot job) (slot machine) (slot setup) (slot start) (slot end))
(deftemplate booking (slot job) (slot order) (slot machine) (slot start) (slot end) (slot setup))

(deffacts phases (phase check) (after check rank) (after rank dispatch) (after dispatch verify) (after verify report)
  (after report summary) (after summary end))

(defglobal ?*horizon* = 14400 ?*rejected* = 0 ?*booked* = 0 ?*late* = 0 ?*in-time* = 0 ?*faults* = 0
  ?*setup* = 25 ?*day-weight* = 100)

; --- Small helpers --------------------------------------------------------------------------------------------------

(deffunction day-of (?time) (div ?time 1440))
(deffunction day-name (?day)
  (str-cat (nth$ (mod ?day 5) (create$ Mon Tue Wed Thu Fri)) (+ 1 (div ?day 5))))
(deffunction clock (?time) "The time as Mon1 07:05"
  (bind ?minute (mod ?time 1440))
  (str-cat (day-name (day-of ?time)) (str-format " %02d:%02d" (div ?minute 60) (mod ?minute 60))))
(deffunction closing (?day ?closes) "Fridays end at two in the afternoon"
  (if (= (mod ?day 5) 4) then (min ?closes 840) else ?closes))
(deffunction fit (?from ?minutes ?opens ?closes) "The first start from which a job runs through without a night"
  (bind ?day (day-of ?from))
  (bind ?start (max ?from (+ (* ?day 1440) ?opens)))
  (while (> (+ ?start ?minutes) (+ (* ?day 1440) (closing ?day ?closes))) do
    (bind ?day (+ ?day 1))
    (bind ?start (+ (* ?day 1440) ?opens)))
  ?start)
(deffunction turn-of (?rank ?day) "Rank counts, but a job that is ready days sooner need not wait for a better one"
  (+ ?rank (* ?day ?*day-weight*)))
(deffunction reject (?id ?why)
  (bind ?*rejected* (+ ?*rejected* 1))
  (printout t "  job " ?id ": " ?why crlf))

(defrule next-phase
  (declare (salience -100))
  ?old <- (phase ?name)
  (after ?name ?next)
  =>
  (retract ?old)
  (assert (phase ?next)))

; --- Check ----------------------------------------------------------------------------------------------------------

(defrule check-title
  (declare (salience 50))
  (phase check)
  =>
  (printout t "Records that are left out" crlf))

(defrule check-order-is-known
  (phase check)
  ?job <- (job (id ?id) (order ?order) (state waiting))
  (not (order (number ?order)))
  =>
  (reject ?id (str-cat "there is no order " ?order))
  (modify ?job (state rejected)))

(defrule check-kind-is-known
  (phase check)
  ?job <- (job (id ?id) (kind ?kind) (state waiting))
  (not (machine (kind ?kind)))
  =>
  (reject ?id (str-cat "no machine of the kind " ?kind))
  (modify ?job (state rejected)))

(defrule check-fits-in-a-day
  (phase check)
  ?job <- (job (id ?id) (minutes ?minutes&:(or (<= ?minutes 0) (> ?minutes 480))) (state waiting))
  =>
  (reject ?id (str-cat ?minutes " minutes do not fit in a day"))
  (modify ?job (state rejected)))

(defrule check-predecessor-is-known
  (phase check)
  ?job <- (job (id ?id) (after ?before&~0) (state waiting))
  (not (job (id ?before)))
  =>
  (reject ?id (str-cat "job " ?before " before it is missing"))
  (modify ?job (state rejected)))

(defrule check-predecessor-stays
  (phase check)
  (job (id ?before) (state rejected))
  ?job <- (job (id ?id) (after ?before) (state waiting))
  =>
  (reject ?id (str-cat "job " ?before " before it is left out"))
  (modify ?job (state rejected)))

(defrule check-two-jobs-of-one-id
  (phase check)
  ?first <- (job (id ?id) (order ?order) (step ?step))
  ?second <- (job (id ?id) (state waiting))
  (test (< ?first ?second))
  =>
  (reject ?id "the number is taken twice")
  (modify ?second (state rejected)))

(defrule check-order-has-work
  (phase check)
  ?order <- (order (number ?number))
  (not (job (order ?number)))
  =>
  (printout t "  order " ?number ": has no jobs" crlf)
  (retract ?order))

(defrule check-closure-runs-forward
  (phase check)
  ?closure <- (closure (machine ?machine) (from ?from) (to ?to&:(<= ?to ?from)) (reason ?reason))
  =>
  (printout t "  closure of machine " ?machine " (" ?reason "): ends before it begins" crlf)
  (retract ?closure))

; --- Rank: express before key customers before others before stock, then by due day ---------------------------------

(defrule rank-express
  (phase rank)
  ?order <- (order (urgency express) (due-day ?due) (rank 0))
  =>
  (modify ?order (rank (+ 100 ?due))))

(defrule rank-key-customer
  (phase rank)
  ?order <- (order (urgency standard) (class key) (due-day ?due) (rank 0))
  =>
  (modify ?order (rank (+ 200 (* 2 ?due)))))

(defrule rank-regular-customer
  (phase rank)
  ?order <- (order (urgency standard) (class regular) (due-day ?due) (rank 0))
  =>
  (modify ?order (rank (+ 205 (* 2 ?due)))))

(defrule rank-stock
  (phase rank)
  ?order <- (order (urgency stock) (due-day ?due) (rank 0))
  =>
  (modify ?order (rank (+ 300 ?due))))

(defrule rank-jobs
  "The jobs of an order inherit its rank."
  (declare (salience -10))
  (phase rank)
  (order (number ?number) (rank ?rank&~0))
  ?job <- (job (order ?number) (state waiting) (rank 0))
  =>
  (modify ?job (rank ?rank)))

; --- Dispatch -------------------------------------------------------------------------------------------------------

(defrule release-first-step
  "A job without predecessor is ready when its material has come."
  (declare (salience 20))
  (phase dispatch)
  ?job <- (job (order ?number) (after 0) (state waiting) (rank ?rank))
  (order (number ?number) (material-day ?day))
  =>
  (modify ?job (state ready) (ready-at (* ?day 1440)) (turn (turn-of ?rank ?day))))

(defrule release-next-step
  "The next step starts a quarter of an hour after the one before it."
  (declare (salience 20))
  (phase dispatch)
  (booking (job ?before) (end ?end))
  ?job <- (job (after ?before) (state waiting) (rank ?rank))
  =>
  (modify ?job (state ready) (ready-at (+ ?end 15)) (turn (turn-of ?rank (day-of ?end)))))

(defrule pick
  "The ready job whose turn comes first is placed next; among equals the lower number."
  (phase dispatch)
  (not (placing ?))
  (job (id ?id) (turn ?turn) (state ready))
  (not (job (state ready) (turn ?sooner&:(< ?sooner ?turn))))
  (not (job (state ready) (turn ?turn) (id ?lower&:(< ?lower ?id))))
  =>
  (assert (placing ?id)))

(defrule offer-same-material
  (declare (salience 10))
  (phase dispatch)
  (placing ?id)
  (job (id ?id) (kind ?kind) (material ?material) (minutes ?minutes) (ready-at ?ready))
  (machine (number ?machine) (kind ?kind) (material ?material) (opens ?opens) (closes ?closes) (free-at ?free))
  =>
  (bind ?start (fit (max ?ready ?free) ?minutes ?opens ?closes))
  (assert (offer (job ?id) (machine ?machine) (setup 0) (start ?start) (end (+ ?start ?minutes)))))

(defrule offer-with-setup
  "Another material than the last one: the machine has to be set up."
  (declare (salience 10))
  (phase dispatch)
  (placing ?id)
  (job (id ?id) (kind ?kind) (material ?material) (minutes ?minutes) (ready-at ?ready))
  (machine (number ?machine) (kind ?kind) (material ~?material) (opens ?opens) (closes ?closes) (free-at ?free))
  =>
  (bind ?all (+ ?minutes ?*setup*))
  (bind ?start (fit (max ?ready ?free) ?all ?opens ?closes))
  (assert (offer (job ?id) (machine ?machine) (setup ?*setup*) (start ?start) (end (+ ?start ?all)))))

(defrule offer-behind-closure
  "An offer that runs into a closure moves behind it."
  (declare (salience 15))
  (phase dispatch)
  ?offer <- (offer (machine ?machine) (start ?start) (end ?end))
  (closure (machine ?machine) (day ?day) (from ?from) (to ?to))
  (test (and (< ?start (+ (* ?day 1440) ?to)) (> ?end (+ (* ?day 1440) ?from))))
  (machine (number ?machine) (opens ?opens) (closes ?closes))
  =>
  (bind ?length (- ?end ?start))
  (bind ?new (fit (+ (* ?day 1440) ?to) ?length ?opens ?closes))
  (modify ?offer (start ?new) (end (+ ?new ?length))))

(defrule offer-beyond-horizon
  (declare (salience 14))
  (phase dispatch)
  ?offer <- (offer (end ?end&:(> ?end ?*horizon*)))
  =>
  (retract ?offer))

(defrule offer-is-beaten
  "Of two offers the one that ends later goes."
  (declare (salience 12))
  (phase dispatch)
  (offer (job ?id) (machine ?better) (end ?end))
  ?worse <- (offer (job ?id) (machine ?machine&~?better) (end ?later&:(> ?later ?end)))
  =>
  (retract ?worse))

(defrule offer-is-equal
  "Of two offers that end together the machine with less to do wins, then the lower number."
  (declare (salience 12))
  (phase dispatch)
  (offer (job ?id) (machine ?one) (end ?end))
  ?worse <- (offer (job ?id) (machine ?two&~?one) (end ?end))
  (machine (number ?one) (load ?load-one))
  (machine (number ?two) (load ?load-two))
  (test (or (< ?load-one ?load-two) (and (= ?load-one ?load-two) (< ?one ?two))))
  =>
  (retract ?worse))

(defrule book
  (declare (salience 5))
  (phase dispatch)
  ?placing <- (placing ?id)
  ?offer <- (offer (job ?id) (machine ?number) (setup ?setup) (start ?start) (end ?end))
  ?job <- (job (id ?id) (order ?order) (material ?material) (minutes ?minutes))
  ?machine <- (machine (number ?number) (load ?load) (setups ?setups))
  =>
  (retract ?placing ?offer)
  (bind ?*booked* (+ ?*booked* 1))
  (modify ?job (state planned))
  (modify ?machine (free-at ?end) (material ?material) (load (+ ?load (- ?end ?start)))
                   (setups (if (> ?setup 0) then (+ ?setups 1) else ?setups)))
  (assert (booking (job ?id) (order ?order) (machine ?number) (start ?start) (end ?end) (setup ?setup))))

(defrule no-offer
  (declare (salience 4))
  (phase dispatch)
  ?placing <- (placing ?id)
  (not (offer (job ?id)))
  ?job <- (job (id ?id))
  =>
  (retract ?placing)
  (modify ?job (state unplaced)))

; --- Verify: the plan must hold what it promises --------------------------------------------------------------------

(defrule verify-one-job-at-a-time
  (phase verify)
  (booking (job ?one) (machine ?machine) (start ?start) (end ?end))
  (booking (job ?two&~?one) (machine ?machine) (start ?other&:(and (>= ?other ?start) (< ?other ?end))))
  =>
  (bind ?*faults* (+ ?*faults* 1))
  (printout t "FAULT: jobs " ?one " and " ?two " meet on machine " ?machine crlf))

(defrule verify-order-of-steps
  (phase verify)
  (job (id ?id) (after ?before&~0))
  (booking (job ?before) (end ?end))
  (booking (job ?id) (start ?start&:(< ?start ?end)))
  =>
  (bind ?*faults* (+ ?*faults* 1))
  (printout t "FAULT: job " ?id " starts before job " ?before " ends" crlf))

(defrule verify-closures
  (phase verify)
  (closure (machine ?machine) (day ?day) (from ?from) (to ?to))
  (booking (job ?id) (machine ?machine) (start ?start&:(< ?start (+ (* ?day 1440) ?to)))
           (end ?end&:(> ?end (+ (* ?day 1440) ?from))))
  =>
  (bind ?*faults* (+ ?*faults* 1))
  (printout t "FAULT: job " ?id " runs while machine " ?machine " is closed" crlf))

(defrule verify-shifts
  (phase verify)
  (machine (number ?machine) (opens ?opens) (closes ?closes))
  (booking (job ?id) (machine ?machine) (start ?start) (end ?end))
  (test (or (< (mod ?start 1440) ?opens) (> (- ?end (* (day-of ?start) 1440)) (closing (day-of ?start) ?closes))))
  =>
  (bind ?*faults* (+ ?*faults* 1))
  (printout t "FAULT: job " ?id " runs outside the shift of machine " ?machine crlf))

(defrule verify-nothing-forgotten
  (phase verify)
  (job (id ?id) (state waiting|ready) (after ?before))
  (not (job (id ?before) (state unplaced)))
  =>
  (bind ?*faults* (+ ?*faults* 1))
  (printout t "FAULT: job " ?id " was forgotten" crlf))

; --- Report ---------------------------------------------------------------------------------------------------------

; (printing ?machine ?from) says whose bookings are printed, and from what time on; -1 stands for the head line.

(defrule start-report
  (declare (salience 50))
  (phase report)
  =>
  (assert (printing 1 -1)))

(defrule print-machine
  (phase report)
  ?printing <- (printing ?number -1)
  (machine (number ?number) (name ?name) (hall ?hall) (load ?load&~0) (setups ?setups))
  =>
  (retract ?printing)
  (assert (printing ?number 0))
  (printout t crlf ?name ", hall " ?hall ": " (str-format "%.1f" (/ ?load 60)) " hours, " ?setups " set-ups" crlf))

(defrule print-idle-machine
  (phase report)
  ?printing <- (printing ?number -1)
  (machine (number ?number) (name ?name) (load 0))
  =>
  (retract ?printing)
  (assert (printing (+ ?number 1) -1))
  (printout t crlf ?name ": nothing to do" crlf))

(defrule print-booking
  (phase report)
  ?printing <- (printing ?number ?from&~-1)
  (booking (machine ?number) (job ?id) (order ?order) (start ?start&:(>= ?start ?from)) (end ?end) (setup ?setup))
  (not (booking (machine ?number) (start ?sooner&:(and (>= ?sooner ?from) (< ?sooner ?start)))))
  (order (number ?order) (product ?product) (pieces ?pieces) (urgency ?urgency))
  =>
  (retract ?printing)
  (assert (printing ?number ?end))
  (printout t "  " (clock ?start) " - " (clock ?end) "  " ?order "/" ?id "  " ?pieces " x " ?product
            (if (eq ?urgency express) then ", express" else "")
            (if (> ?setup 0) then ", with set-up" else "") crlf))

(defrule print-next-machine
  (declare (salience -10))
  (phase report)
  ?printing <- (printing ?number ?from&~-1)
  =>
  (retract ?printing)
  (assert (printing (+ ?number 1) -1)))

; --- Summary --------------------------------------------------------------------------------------------------------

(defrule order-ends
  "An order ends with the last of its bookings."
  (declare (salience 40))
  (phase summary)
  ?order <- (order (number ?number) (ends ?ends))
  (booking (order ?number) (end ?end&:(> ?end ?ends)))
  (not (booking (order ?number) (end ?later&:(> ?later ?end))))
  =>
  (modify ?order (ends ?end)))

(defrule order-is-unfinished
  (declare (salience 30))
  (phase summary)
  (job (id ?id) (order ?number) (kind ?kind) (state unplaced))
  (order (number ?number) (customer ?customer))
  =>
  (printout t "Order " ?number " for " ?customer ": no room for job " ?id " on a " ?kind crlf))

(defrule order-in-time
  (declare (salience 20))
  (phase summary)
  (order (ends ?ends&:(>= ?ends 0)) (due-day ?due&:(<= (day-of ?ends) ?due)))
  =>
  (bind ?*in-time* (+ ?*in-time* 1)))

(defrule order-late
  "The most important late order first."
  (declare (salience 20))
  (phase summary)
  (order (number ?number) (ends ?ends&:(>= ?ends 0)) (due-day ?due&:(> (day-of ?ends) ?due)) (rank ?rank))
  =>
  (bind ?*late* (+ ?*late* 1))
  (assert (late ?number ?rank)))

(defrule print-late
  (declare (salience 10))
  (phase summary)
  ?late <- (late ?number ?rank)
  (not (late ? ?other&:(< ?other ?rank)))
  (not (late ?lower&:(< ?lower ?number) ?rank))
  (order (number ?number) (customer ?customer) (product ?product) (due-day ?due) (ends ?ends))
  =>
  (retract ?late)
  (printout t "Order " ?number " (" ?product ", " ?customer ") is late: due " (day-name ?due) ", ends " (clock ?ends)
            crlf))

(defrule bottleneck
  (declare (salience 5))
  (phase summary)
  (machine (name ?name) (kind ?kind) (load ?load))
  (not (machine (load ?more&:(> ?more ?load))))
  =>
  (printout t "Busiest machine: " ?name " with " (str-format "%.1f" (/ ?load 60)) " hours" crlf)
  (assert (bottleneck ?kind)))

(defrule advise-second-machine
  "The busiest machine is the only one of its kind."
  (declare (salience 4))
  (phase summary)
  (bottleneck ?kind)
  (unique (machine (number ?number) (kind ?kind)))
  (not (machine (number ~?number) (kind ?kind)))
  (test (> ?*late* 0))
  =>
  (printout t "A second " ?kind " would help" crlf))

(defrule advise-other-shifts
  "Another machine of that kind works a shorter day."
  (declare (salience 4))
  (phase summary)
  (bottleneck ?kind)
  (machine (number ?long) (kind ?kind) (closes ?late))
  (machine (name ?name) (number ~?long) (kind ?kind) (closes ?early&:(< ?early ?late)))
  (not (advised ?name))
  (test (> ?*late* 0))
  =>
  (assert (advised ?name))
  (printout t "A late shift on " ?name " would help" crlf))

(defrule totals
  (phase summary)
  =>
  (printout t ?*booked* " jobs booked, " ?*rejected* " left out, " ?*in-time* " orders in time, " ?*late* " late, "
            ?*faults* " faults in the plan" crlf))
