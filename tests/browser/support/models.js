// The models that the mock bus knows: fields by service and resource. A resource without a model has none.

const bool = (key) => ({key, kind: 'bool'});
const integer = (key) => ({key, kind: 'integer'});
const string = (key) => ({key, kind: 'string'});
const reference = (key) => ({key, kind: 'reference'});
const enumeration = (key, ...literals) => ({key, kind: 'enumeration', literals});
const list = (key, of, literals) => ({key, kind: of, literals});

export const kModels = {
    ClampControl: {
        clamps: [bool('isSwitchedOn'), enumeration('type', 'Clamp15', 'ClampS', 'Clamp75_X')],
        notifications: [
            enumeration('type', 'WorkshopRequest', 'EmergencyDeactivation', 'DriverInfo', 'IgnitionWarning'),
            integer('value'),
        ],
        specialStates: [
            integer('elementId'), enumeration('functionStatus', 'init', 'transitionNewState', 'active', 'error'),
            enumeration('immobilizerRequest', 'none', 'unlimited', 'limited'),
            enumeration('requestingFunction', 'init', 'remoteStart', 'remoteParkAssist', 'onlineRemoteUpdate', 'error'),
        ],
    },
    Immobilizer: {
        info: [integer('elementId'), bool('isLocked'), integer('learnedKeyValue'), integer('learningKeyValue'),
            integer('stateOfLife'), string('vehicleIdentificationNumber')],
        notifications: [enumeration('type', 'ImmobilizerHint'), integer('value')],
    },
    servicemanagement: {
        transactionTypes: [
            list('attachedOperations', 'references'), reference('connectionState'),
            list('privacyGroups', 'enumerations', ['trackingData', 'locationData', 'personalData', 'anonymousData']),
            reference('transactionActivationType'),
        ],
        connectionStates: [enumeration('connectionState', 'connectionStateTempDisconnected',
            'connectionStateConnected', 'connectionStateDeactivated', 'connectionStateOnDemand')],
    },
};
